// Who may open a mapping, and who may change that.
#include <gtest/gtest.h>

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <string>

#include "platform/mappings.h"

namespace {

// The access list of an object, in its string form.
std::string AccessListOf(HANDLE object) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (GetSecurityInfo(object, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                      nullptr, nullptr, &descriptor) != ERROR_SUCCESS) {
    return "unreadable";
  }
  std::string list = "not converted";
  LPSTR text = nullptr;
  if (ConvertSecurityDescriptorToStringSecurityDescriptorA(
          descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr)) {
    list = text;
    LocalFree(text);
  }
  LocalFree(descriptor);
  return list;
}

// The list isn't a null one, which would let every process replace it.
TEST(MappingAccess, InteractiveUsersMayMapAndNobodyMayChangeTheList) {
  const std::string name = "Global\\quorvexaccess" + std::to_string(GetCurrentProcessId());
  const platform::Handle made = platform::mappings.CreateFileMappingA(4096, name.c_str());
  ASSERT_NE(made, nullptr);
  // DC and LC are the rights to map for writing and reading; OW is the owner of the mapping.
  EXPECT_EQ(AccessListOf(made), "D:P(A;;DCLC;;;IU)(A;;DCLC;;;SY)(A;;DCLC;;;BA)(A;;DCLC;;;OW)");
  EXPECT_TRUE(platform::handles.CloseHandle(made));
}

TEST(MappingAccess, ANameThatExistsIsNotOpenedWhateverItsSize) {
  const std::string name = "Global\\quorvextaken" + std::to_string(GetCurrentProcessId());
  const HANDLE squatter =
      ::CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 64, name.c_str());
  ASSERT_NE(squatter, nullptr);
  EXPECT_EQ(platform::mappings.CreateFileMappingA(4096, name.c_str()), nullptr);
  EXPECT_TRUE(CloseHandle(squatter));
}

}  // namespace
