// A body that doesn't fit into a 32-bit host any more. A 64-bit process has no such limit.
#ifndef _WIN64
#include <windows.h>

#include <algorithm>
#include <filesystem>

#include "tests/endtoend/win32/endtoend.h"
#include "tests/support/vtableslot.h"

namespace tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr UINT kBodyUnits = 250'000'000;  // 500 MB as the host keeps it
bool g_bodyWasRead = false;

// What a large host leaves of its two gigabytes: no free piece of 16 MB or more.
class UsedUpMemory {
 public:
  void UseUp() {
    for (SIZE_T size = SIZE_T{1} << 29; size >= SIZE_T{1} << 24; size /= 2) {
      while (void* const piece = VirtualAlloc(nullptr, size, MEM_RESERVE, PAGE_NOACCESS)) {
        m_pieces.push_back(piece);
      }
    }
  }
  ~UsedUpMemory() {
    for (void* const piece : m_pieces) VirtualFree(piece, 0, MEM_RELEASE);
  }

 private:
  std::vector<void*> m_pieces;
};

UsedUpMemory* g_usedUp = nullptr;

HRESULT STDMETHODCALLTYPE ReturnLargeBody(_MailItem*, BSTR* body) {
  *body = SysAllocStringLen(nullptr, kBodyUnits);
  if (*body == nullptr) return E_OUTOFMEMORY;
  std::fill_n(*body, kBodyUnits, L'b');
  g_bodyWasRead = true;
  g_usedUp->UseUp();
  return S_OK;
}

// Replaces a slot in the table of an object's class.
class ScopedSlot {
 public:
  ScopedSlot(void* object, std::size_t slot, const void* function)
      : m_place(*static_cast<const void***>(object) + slot), m_before(*m_place) {
    Write(function);
  }
  ~ScopedSlot() { Write(m_before); }
  ScopedSlot(const ScopedSlot&) = delete;
  ScopedSlot& operator=(const ScopedSlot&) = delete;

 private:
  void Write(const void* function) {
    DWORD before = 0;
    VirtualProtect(m_place, sizeof(*m_place), PAGE_READWRITE, &before);
    *m_place = function;
    VirtualProtect(m_place, sizeof(*m_place), before, &before);
  }

  const void** m_place;
  const void* m_before;
};

using LargeBody = EndToEnd;

TEST_F(LargeBody, LetsTheMailGoWhenTheBodyDoesNotFit) {
  ASSERT_NO_FATAL_FAILURE(Connect("16.0.0.1234"));
  HostInspector& window = Open(Mail("A large one", "Not this body"));
  const HCURSOR cursor = LoadCursorW(nullptr, IDC_ARROW);
  SetCursor(cursor);
  simulation::host::SendOutcome outcome;
  {
    UsedUpMemory usedUp;
    g_usedUp = &usedUp;
    const ScopedSlot body(static_cast<_MailItem*>(window.Mail()), SlotOf(&_MailItem::get_Body),
                          reinterpret_cast<const void*>(&ReturnLargeBody));
    outcome = Host().Send(*window.Mail());
  }
  ASSERT_TRUE(g_bodyWasRead);
  EXPECT_EQ(outcome.cancel, VARIANT_FALSE);
  EXPECT_THAT(outcome.returned, ElementsAre(S_OK));
  EXPECT_EQ(GetCursor(), cursor);
  const std::string log = TakeLog();
  EXPECT_THAT(log, HasSubstr("Outlook> Crit: Exception 0x8007000E in OnMailSend.\r\n"));
  EXPECT_EQ(log.find("Outlook> Crit:"), log.rfind("Outlook> Crit:"));
  for (const auto& entry : std::filesystem::directory_iterator(TempPath())) {
    EXPECT_EQ(entry.path().filename(), "QuorvexAgent.journal");
  }

  // The same process checks the next mail.
  HostInspector& next = Open(Mail("The next one", "This is TOP-SECRET."));
  EXPECT_EQ(Host().Send(*next.Mail()).cancel, 1);
  Host().CloseInspector(window);
  Host().CloseInspector(next);
}

}  // namespace
}  // namespace tests
#endif
