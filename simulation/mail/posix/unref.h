// Gives up a reference to an object of GLib, which GMime's and libgsf's objects are.
#pragma once

#include <glib-object.h>

namespace simulation::mail {

// For std::unique_ptr.
struct Unref {
  void operator()(void* object) const { g_object_unref(object); }
};

}  // namespace simulation::mail
