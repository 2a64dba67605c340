// The host's application object and its windows: explorers, which show folders, and inspectors,
// each of which shows one item.
#pragma once

#include <string>
#include <vector>

#include "simulation/host/hostevents.h"
#include "simulation/host/hostitem.h"
#include "simulation/host/hostobject.h"

namespace simulation::host {

// A window that shows one item. It holds the item.
class HostInspector final : public HostEventSource<HostInspector, _Inspector> {
 public:
  static constexpr std::string_view kHostClass = "_Inspector";
  static constexpr std::string_view kFindCall = "_Inspector::FindConnectionPoint";

  // Exactly one of the two items is null. The caption is UTF-8.
  HostInspector(HostCorePointer core, std::string caption, HostRef<HostMailItem> mail,
                HostRef<HostOtherItem> other);

  // The mail that it shows, or null.
  HostMailItem* Mail() const { return m_mail.Get(); }
  const std::string& Caption() const { return m_caption; }
  // The user has changed the subject.
  void SetCaption(std::string caption);

  FiredResults FireClose() { return Fire(outlookaddin::kDispidInspectorClose, {}); }

  HRESULT STDMETHODCALLTYPE get_CurrentItem(IDispatch** item) override;
  HRESULT STDMETHODCALLTYPE get_Caption(BSTR* caption) override;
  std::string Label() const override;

 private:
  std::string m_caption;
  platform::WideString m_wideCaption;
  HostRef<HostMailItem> m_mail;
  HostRef<HostOtherItem> m_other;
};

class HostInspectors final : public HostEventSource<HostInspectors, _Inspectors> {
 public:
  static constexpr std::string_view kHostClass = "_Inspectors";
  static constexpr std::string_view kFindCall = "_Inspectors::FindConnectionPoint";

  explicit HostInspectors(HostCorePointer core);

  // The open ones, oldest first.
  const std::vector<HostRef<HostInspector>>& Open() const { return m_open; }
  void Add(HostRef<HostInspector> inspector) { m_open.push_back(std::move(inspector)); }
  void Remove(const HostInspector& inspector);
  void Clear() { m_open.clear(); }

  FiredResults FireNewInspector(HostInspector& inspector);

  HRESULT STDMETHODCALLTYPE get_Count(LONG* count) override;
  HRESULT STDMETHODCALLTYPE Item(VARIANT index, _Inspector** inspector) override;
  std::string Label() const override { return "_Inspectors"; }

 private:
  std::vector<HostRef<HostInspector>> m_open;
};

// A window on a folder. While a reply is being written in its reading pane, it holds that item.
class HostExplorer final : public HostEventSource<HostExplorer, _Explorer> {
 public:
  static constexpr std::string_view kHostClass = "_Explorer";
  static constexpr std::string_view kFindCall = "_Explorer::FindConnectionPoint";

  // `number` distinguishes explorers in their labels.
  HostExplorer(HostCorePointer core, int number);

  HostMailItem* InlineResponse() const { return m_response.Get(); }
  void SetInlineResponse(HostRef<HostMailItem> response) { m_response = std::move(response); }

  FiredResults FireInlineResponse();

  // From version 15 on.
  HRESULT STDMETHODCALLTYPE get_ActiveInlineResponse(IDispatch** item) override;
  std::string Label() const override;

 private:
  int m_number;
  HostRef<HostMailItem> m_response;
};

class HostExplorers final : public HostDispatch<HostExplorers, _Explorers> {
 public:
  static constexpr std::string_view kHostClass = "_Explorers";

  explicit HostExplorers(HostCorePointer core) : HostDispatch(std::move(core)) {}

  const std::vector<HostRef<HostExplorer>>& Open() const { return m_open; }
  HostExplorer& Add();
  void Remove(const HostExplorer& explorer);
  void Clear() { m_open.clear(); }

  HRESULT STDMETHODCALLTYPE get_Count(LONG* count) override;
  HRESULT STDMETHODCALLTYPE Item(VARIANT index, _Explorer** explorer) override;
  std::string Label() const override { return "_Explorers"; }

 private:
  std::vector<HostRef<HostExplorer>> m_open;
  int m_lastNumber = 0;
};

class HostApplication final : public HostDispatch<HostApplication, _Application> {
 public:
  static constexpr std::string_view kHostClass = "_Application";

  explicit HostApplication(HostCorePointer core);

  HostExplorers& OpenExplorers() const { return *m_explorers; }
  HostInspectors& OpenInspectors() const { return *m_inspectors; }

  HRESULT STDMETHODCALLTYPE get_Version(BSTR* version) override;
  HRESULT STDMETHODCALLTYPE get_Explorers(_Explorers** explorers) override;
  HRESULT STDMETHODCALLTYPE get_Inspectors(_Inspectors** inspectors) override;
  std::string Label() const override { return "_Application"; }

 private:
  platform::WideString m_version;
  HostRef<HostExplorers> m_explorers;
  HostRef<HostInspectors> m_inspectors;
};

// The add-in's entry in the host's list of add-ins.
class HostAddInEntry final : public HostDispatch<HostAddInEntry, IDispatch> {
 public:
  static constexpr std::string_view kHostClass = "COMAddIn";

  explicit HostAddInEntry(HostCorePointer core) : HostDispatch(std::move(core)) {}
  std::string Label() const override { return "COMAddIn"; }
};

}  // namespace simulation::host
