// The name that some log lines give for the source file they come from.
#pragma once

// What stands behind the last separator of `path` (as __FILE__ has it, in either system's
// manner), or the whole of it. Evaluated by the compiler: the directories of the machine that
// built the add-in don't get into it this way.
consteval const char* SourceLeaf(const char* path) {
  const char* leaf = path;
  for (const char* at = path; *at != '\0'; ++at) {
    if (*at == '\\' || *at == '/') leaf = at + 1;
  }
  return leaf;
}
