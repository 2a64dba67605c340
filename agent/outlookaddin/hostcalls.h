// Calling the host's getters.
//
// What a getter returns belongs to the caller, and so does whatever a failing getter leaves in its
// place: COM says that a failing call sets its results to null, so an object that is there all the
// same came with a reference like any other. Every result is therefore kept in a ComPtr or a Bstr,
// which release it on every path. After a failure nothing uses it, unless the code says otherwise.
#pragma once

#include "platform/com/comtypes.h"

namespace outlookaddin {

// The argument of a collection's Item: a position counted from 1, as VT_I4.
inline VARIANT PositionVariant(LONG position) {
  VARIANT variant;
  VariantInit(&variant);
  variant.vt = VT_I4;
  variant.lVal = position;
  return variant;
}

}  // namespace outlookaddin
