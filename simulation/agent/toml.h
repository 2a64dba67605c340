// The library that reads TOML, for every file that uses it.
#pragma once

// It asserts that a key begins like one, where only the file decides: "[" at the end of a line
// would end the process. It reports such a file as an error all the same.
#define TOML_ASSERT(expression) static_assert(true)
#include <toml++/toml.h>
