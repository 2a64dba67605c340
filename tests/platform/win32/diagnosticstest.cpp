#include "platform/diagnostics.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

int s_complaints = 0;

void CountComplaint(const wchar_t*, const wchar_t*, const wchar_t*, unsigned, uintptr_t) {
  ++s_complaints;
}

TEST(InvalidParameter, CallsTheRuntimesHandlerAndReturns) {
  const _invalid_parameter_handler before = _set_invalid_parameter_handler(&CountComplaint);
  s_complaints = 0;
  platform::diagnostics.InvalidParameter();
  _set_invalid_parameter_handler(before);
  EXPECT_EQ(s_complaints, 1);
}

}  // namespace
