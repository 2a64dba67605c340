#include "agent/outlookaddin/dlpinspectorevent.h"

#include <utility>

#include "agent/outlookaddin/dlpmailevent.h"
#include "logging/vrklogger.h"

const platform::EventRow* DlpInspectorEvent::Events() {
  static constexpr platform::EventCallForm kForm = {CC_STDCALL, VT_EMPTY, 0, {}};
  static const platform::EventRow kRows[] = {
      {2, &GUID_0006307d, outlookaddin::kDispidInspectorClose,
       platform::HandlerSlot(&DlpInspectorEvent::OnInspectorClose), &kForm},
      {}};
  return kRows;
}

HRESULT STDMETHODCALLTYPE DlpInspectorEvent::OnInspectorClose() {
  g_logger.Log(kLogModule, kLogInfo, "OnInspectorClose");
  if (m_bClosed) return S_OK;
  m_bClosed = true;
  delete std::exchange(m_pMailEvent, nullptr);
  return S_OK;
}
