#include "agent/outlookaddin/dlpinspectorevent.h"

#include <utility>

#include "agent/outlookaddin/dlpmailevent.h"
#include "agent/outlookaddin/hostborder.h"
#include "logging/vrklogger.h"

namespace {

HRESULT STDMETHODCALLTYPE HandleClose(DlpInspectorEvent* sink) {
  return outlookaddin::EndExceptions("OnInspectorClose", [=] { return sink->OnInspectorClose(); });
}

}  // namespace

const platform::EventRow* DlpInspectorEvent::Events() {
  static constexpr platform::EventCallForm kForm = {CC_STDCALL, VT_EMPTY, 0, {}};
  static const platform::EventRow kRows[] = {
      {2, &GUID_0006307d, outlookaddin::kDispidInspectorClose,
       platform::HandlerAddress(&HandleClose), &kForm},
      {}};
  return kRows;
}

HRESULT STDMETHODCALLTYPE DlpInspectorEvent::OnInspectorClose() {
  g_logger.Log(kLogModule, kLogInfo, "OnInspectorClose");
  if (m_bClosed) return S_OK;
  m_bClosed = true;
  if (DlpMailEvent* const mailEvent = std::exchange(m_pMailEvent, nullptr)) mailEvent->Destroy();
  return S_OK;
}
