#include "simulation/host/hostwindows.h"

#include <algorithm>

#include "simulation/host/hosttext.h"

namespace simulation::host {
namespace {

template <typename Window>
void RemoveWindow(std::vector<HostRef<Window>>& open, const Window& window) {
  const auto found = std::find_if(
      open.begin(), open.end(), [&](const HostRef<Window>& each) { return each.Get() == &window; });
  if (found == open.end()) return;
  const HostRef<Window> last = *found;  // keeps the window alive until it is out of the list
  open.erase(found);
}

}  // namespace

HostInspector::HostInspector(HostCorePointer core, std::string caption, HostRef<HostMailItem> mail,
                             HostRef<HostOtherItem> other)
    : HostEventSource(std::move(core), kInspectorEvents, "_Inspector " + Quoted(caption)),
      m_mail(std::move(mail)),
      m_other(std::move(other)) {
  SetCaption(std::move(caption));
}

void HostInspector::SetCaption(std::string caption) {
  m_caption = std::move(caption);
  m_wideCaption = Utf8ToWide(m_caption);
}

HRESULT HostInspector::get_CurrentItem(IDispatch** item) {
  return Answer("_Inspector::get_CurrentItem", item,
                [&] { return m_mail ? m_mail.Give(item) : m_other.Give(item); });
}

HRESULT HostInspector::get_Caption(BSTR* caption) {
  return Answer("_Inspector::get_Caption", caption,
                [&] { return GiveWideText(m_wideCaption, caption); });
}

std::string HostInspector::Label() const {
  return "_Inspector " + Quoted(m_caption);
}

HostInspectors::HostInspectors(HostCorePointer core)
    : HostEventSource(std::move(core), kInspectorsEvents, "_Inspectors") {}

void HostInspectors::Remove(const HostInspector& inspector) {
  RemoveWindow(m_open, inspector);
}

FiredResults HostInspectors::FireNewInspector(HostInspector& inspector) {
  const HostRef<HostInspector> held(&inspector);
  return Fire(outlookaddin::kDispidNewInspector, {ObjectArgument(&inspector)});
}

HRESULT HostInspectors::get_Count(LONG* count) {
  return Answer("_Inspectors::get_Count", count, [&] {
    *count = static_cast<LONG>(m_open.size());
    return S_OK;
  });
}

HRESULT HostInspectors::Item(VARIANT index, _Inspector** inspector) {
  return Answer("_Inspectors::Item", inspector, [&] {
    std::size_t place = 0;
    const HRESULT result = ReadIndex(index, m_open.size(), &place);
    return FAILED(result) ? result : m_open[place].Give(inspector);
  });
}

HostExplorer::HostExplorer(HostCorePointer core, int number)
    : HostEventSource(std::move(core), kExplorerEvents, "_Explorer " + std::to_string(number)),
      m_number(number) {}

FiredResults HostExplorer::FireInlineResponse() {
  const HostRef<HostMailItem> held = m_response;
  return Fire(outlookaddin::kDispidInlineResponse, {ObjectArgument(held.Get())});
}

HRESULT HostExplorer::get_ActiveInlineResponse(IDispatch** item) {
  NeedVersion(15, kHostClass, "get_ActiveInlineResponse");
  return Answer("_Explorer::get_ActiveInlineResponse", item, [&] { return m_response.Give(item); });
}

std::string HostExplorer::Label() const {
  return "_Explorer " + std::to_string(m_number);
}

HostExplorer& HostExplorers::Add() {
  m_open.push_back(HostRef<HostExplorer>::Make(SharedCore(), ++m_lastNumber));
  return *m_open.back();
}

void HostExplorers::Remove(const HostExplorer& explorer) {
  RemoveWindow(m_open, explorer);
}

HRESULT HostExplorers::get_Count(LONG* count) {
  return Answer("_Explorers::get_Count", count, [&] {
    *count = static_cast<LONG>(m_open.size());
    return S_OK;
  });
}

HRESULT HostExplorers::Item(VARIANT index, _Explorer** explorer) {
  return Answer("_Explorers::Item", explorer, [&] {
    std::size_t place = 0;
    const HRESULT result = ReadIndex(index, m_open.size(), &place);
    return FAILED(result) ? result : m_open[place].Give(explorer);
  });
}

HostApplication::HostApplication(HostCorePointer core)
    : HostDispatch(std::move(core)),
      m_version(Utf8ToWide(Core().versionText)),
      m_explorers(HostRef<HostExplorers>::Make(SharedCore())),
      m_inspectors(HostRef<HostInspectors>::Make(SharedCore())) {}

HRESULT HostApplication::get_Version(BSTR* version) {
  return Answer("_Application::get_Version", version,
                [&] { return GiveWideText(m_version, version); });
}

HRESULT HostApplication::get_Explorers(_Explorers** explorers) {
  return Answer("_Application::get_Explorers", explorers,
                [&] { return m_explorers.Give(explorers); });
}

HRESULT HostApplication::get_Inspectors(_Inspectors** inspectors) {
  return Answer("_Application::get_Inspectors", inspectors,
                [&] { return m_inspectors.Give(inspectors); });
}

}  // namespace simulation::host
