#include "platform/mapi.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(Mapi, AllocatedMemoryIsWritable) {
  void* buffer = nullptr;
  ASSERT_EQ(platform::mapi.MAPIAllocateBuffer(sizeof(MAPINAMEID), &buffer), 0);
  ASSERT_NE(buffer, nullptr);
  std::memset(buffer, 0xAA, sizeof(MAPINAMEID));
  void* other = nullptr;
  ASSERT_EQ(platform::mapi.MAPIAllocateBuffer(1, &other), 0);
  EXPECT_NE(other, buffer);
}

// Enough of IMAPIProp's table to reach SetProps, the ninth slot.
struct RecordingMessage {
  struct Table {
    void (*others[8])();
    HRESULT(STDMETHODCALLTYPE* setProps)(RecordingMessage*, ULONG, SPropValue*, void*);
  };

  static HRESULT STDMETHODCALLTYPE SetProps(RecordingMessage* self, ULONG count, SPropValue* values,
                                            void* /*problems*/) {
    ++self->calls;
    self->count = count;
    self->values = values;
    return self->answer;
  }

  const Table* table;
  HRESULT answer = S_OK;
  int calls = 0;
  ULONG count = 0;
  SPropValue* values = nullptr;
};

constexpr RecordingMessage::Table kTable = {{}, &RecordingMessage::SetProps};

TEST(Mapi, OnePropertyIsSetThroughTheObject) {
  RecordingMessage object = {&kTable};
  SPropValue value = {};
  // The system's function must be able to compute the size of the property.
  value.ulPropTag = 0x8001001F;
  OLECHAR text[] = {'x', 0};
  value.Value.lpszW = text;
  EXPECT_EQ(platform::mapi.HrSetOneProp(reinterpret_cast<IMAPIProp*>(&object), &value), S_OK);
  EXPECT_EQ(object.calls, 1);
  EXPECT_EQ(object.count, 1u);
  EXPECT_EQ(object.values, &value);
}

TEST(Mapi, AFailureToSetIsReturned) {
  RecordingMessage object = {&kTable, E_ACCESSDENIED};
  SPropValue value = {};
  value.ulPropTag = 0x8001001F;
  OLECHAR text[] = {'x', 0};
  value.Value.lpszW = text;
  EXPECT_EQ(platform::mapi.HrSetOneProp(reinterpret_cast<IMAPIProp*>(&object), &value),
            E_ACCESSDENIED);
}

}  // namespace
