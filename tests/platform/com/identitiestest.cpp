// GUIDs from their text, and the numbers that COM fixes.
#include <gmock/gmock.h>

#include <vector>

#include "platform/com/comtypes.h"
#include "platform/com/guid.h"

namespace {

using platform::GuidFromText;

TEST(GuidFromText, ReadsEveryDigitInItsPlace) {
  constexpr GUID kRead = GuidFromText("{01234567-89AB-CDEF-FEDC-BA9876543210}");
  EXPECT_EQ(kRead.Data1, 0x01234567u);
  EXPECT_EQ(kRead.Data2, 0x89AB);
  EXPECT_EQ(kRead.Data3, 0xCDEF);
  EXPECT_THAT(kRead.Data4, testing::ElementsAre(0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10));
}

TEST(Guids, AreSixteenBytesAndDifferInAnyOfThem) {
  constexpr GUID kOne = GuidFromText("{01234567-89AB-CDEF-FEDC-BA9876543210}");
  constexpr GUID kOther = GuidFromText("{01234567-89AB-CDEF-FEDC-BA9876543211}");
  static_assert(sizeof(GUID) == 16);
  EXPECT_TRUE(kOne == kOne);
  EXPECT_FALSE(kOne != kOne);
  EXPECT_FALSE(kOne == kOther);
  EXPECT_TRUE(kOne != kOther);
}

TEST(ComInterfaces, HaveTheSystemsIdentities) {
  EXPECT_EQ(IID_IUnknown, GuidFromText("{00000000-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID_IClassFactory, GuidFromText("{00000001-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID_IDispatch, GuidFromText("{00020400-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID_IConnectionPointContainer, GuidFromText("{B196B284-BAB4-101A-B69C-00AA00341D07}"));
  EXPECT_EQ(IID_IConnectionPoint, GuidFromText("{B196B286-BAB4-101A-B69C-00AA00341D07}"));
}

TEST(ComResults, HaveTheSystemsNumbers) {
  EXPECT_EQ(S_OK, 0);
  EXPECT_EQ(S_FALSE, 1);
}

TEST(VariantTypes, HaveTheSystemsNumbers) {
  EXPECT_THAT((std::vector<int>{VT_EMPTY, VT_NULL, VT_I2, VT_I4, VT_BSTR, VT_DISPATCH, VT_ERROR,
                                VT_BOOL, VT_VARIANT, VT_UNKNOWN, VT_ARRAY, VT_BYREF}),
              testing::ElementsAre(0, 1, 2, 3, 8, 9, 10, 11, 12, 13, 0x2000, 0x4000));
}

}  // namespace
