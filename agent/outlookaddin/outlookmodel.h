// The host's interfaces, slot by slot, and the ids of its events.
//
// Every member is in the same slot as in the host's own interface. Only the members that the add-in
// uses have names. The slots between them are reserved and must not be called: an implementation
// that doesn't override a reserved slot ends the process. The order of a dual interface's members
// is the same in all versions of the host; newer versions only append.
//
// Slots 0 to 2 belong to IUnknown, 3 to 6 to IDispatch. The caller owns what a getter returns: it
// frees a BSTR and releases an interface. A negative HRESULT and a null result both mean that there
// is no such thing.
#pragma once

#include <cstdlib>

#include "platform/com/comtypes.h"

namespace outlookaddin {

// The host's ids differ in their first field only.
constexpr GUID HostId(ULONG first) {
  return {first, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
}

inline constexpr IID IID__Application = HostId(0x00063001);
inline constexpr IID IID__NameSpace = HostId(0x00063002);
inline constexpr IID IID__Explorer = HostId(0x00063003);
inline constexpr IID IID__Inspector = HostId(0x00063005);
inline constexpr IID IID_Attachment = HostId(0x00063007);
inline constexpr IID IID__Inspectors = HostId(0x00063008);
inline constexpr IID IID__Explorers = HostId(0x0006300A);
inline constexpr IID IID__MailItem = HostId(0x00063034);
inline constexpr IID IID_Recipients = HostId(0x0006303B);
inline constexpr IID IID_Attachments = HostId(0x0006303C);
inline constexpr IID IID_Recipient = HostId(0x00063045);
inline constexpr IID IID_AddressEntries = HostId(0x0006304A);
inline constexpr IID IID_AddressEntry = HostId(0x0006304B);
inline constexpr IID IID__Account = HostId(0x000630C5);

// Event interfaces, fired by the host through IDispatch::Invoke on a sink.
inline constexpr IID IID_ExplorerEvents_10 = HostId(0x0006300F);
inline constexpr IID IID_ItemEvents = HostId(0x0006303A);
inline constexpr IID IID_InspectorsEvents = HostId(0x00063079);
inline constexpr IID IID_InspectorEvents = HostId(0x0006307D);

inline constexpr DISPID kDispidNewInspector = 0xF001;    // InspectorsEvents: VT_DISPATCH
inline constexpr DISPID kDispidInspectorClose = 0xF008;  // InspectorEvents: no argument
inline constexpr DISPID kDispidInlineResponse = 0xFC92;  // ExplorerEvents_10: VT_DISPATCH
inline constexpr DISPID kDispidSend = 0xF005;            // ItemEvents: VT_BOOL | VT_BYREF, Cancel

// Attachment::get_Type (OlAttachmentType).
inline constexpr LONG olByValue = 1;
inline constexpr LONG olByReference = 4;
inline constexpr LONG olEmbeddeditem = 5;
inline constexpr LONG olOLE = 6;

// AddressEntry::get_DisplayType (OlDisplayType).
inline constexpr LONG olPrivateDistList = 5;

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Each reserved slot is an overload of its own.
#pragma GCC diagnostic ignored "-Woverloaded-virtual"

template <int Slot>
struct SlotNumber {};

// `Base` followed by the reserved slots First to Last, both included.
template <typename Base, int First, int Last>
struct Reserved : Reserved<Base, First, Last - 1> {
  using Reserved<Base, First, Last - 1>::ReservedSlot;
  virtual HRESULT STDMETHODCALLTYPE ReservedSlot(SlotNumber<Last>) { std::abort(); }
};

template <typename Base, int First>
struct Reserved<Base, First, First> : Base {
  virtual HRESULT STDMETHODCALLTYPE ReservedSlot(SlotNumber<First>) { std::abort(); }
};

}  // namespace outlookaddin

struct _Account;
struct _Explorer;
struct _Explorers;
struct _Inspector;
struct _Inspectors;
struct _NameSpace;
struct AddressEntries;
struct AddressEntry;
struct Attachment;
struct Attachments;
struct Recipient;
struct Recipients;

// The steps towards an interface with several named members. Each is named after the last slot that
// it fills.
namespace outlookaddin::slots {

struct Application13 : Reserved<IDispatch, 7, 12> {
  virtual HRESULT STDMETHODCALLTYPE get_Version(BSTR* version) = 0;  // 13
};
struct Application22 : Reserved<Application13, 14, 21> {
  virtual HRESULT STDMETHODCALLTYPE get_Explorers(_Explorers** explorers) = 0;  // 22
};
struct Inspector12 : Reserved<IDispatch, 7, 11> {
  virtual HRESULT STDMETHODCALLTYPE get_CurrentItem(IDispatch** item) = 0;  // 12
};
struct MailItem9 : Reserved<IDispatch, 7, 8> {
  virtual HRESULT STDMETHODCALLTYPE get_Session(_NameSpace** session) = 0;  // 9
};
struct MailItem12 : Reserved<MailItem9, 10, 11> {
  virtual HRESULT STDMETHODCALLTYPE get_Attachments(Attachments** attachments) = 0;  // 12
};
struct MailItem15 : Reserved<MailItem12, 13, 14> {
  virtual HRESULT STDMETHODCALLTYPE get_Body(BSTR* body) = 0;  // 15
};
struct MailItem30 : Reserved<MailItem15, 16, 29> {
  virtual HRESULT STDMETHODCALLTYPE get_MAPIOBJECT(IUnknown** object) = 0;  // 30
};
struct MailItem43 : Reserved<MailItem30, 31, 42> {
  virtual HRESULT STDMETHODCALLTYPE get_Subject(BSTR* subject) = 0;  // 43
};
struct MailItem76 : Reserved<MailItem43, 44, 75> {
  virtual HRESULT STDMETHODCALLTYPE get_HTMLBody(BSTR* html) = 0;  // 76
};
struct MailItem89 : Reserved<MailItem76, 77, 88> {
  virtual HRESULT STDMETHODCALLTYPE get_Recipients(Recipients** recipients) = 0;  // 89
};
struct Recipient12 : Reserved<IDispatch, 7, 11> {
  virtual HRESULT STDMETHODCALLTYPE get_AddressEntry(AddressEntry** entry) = 0;  // 12
};
struct AddressEntry11 : Reserved<IDispatch, 7, 10> {
  virtual HRESULT STDMETHODCALLTYPE get_Address(BSTR* address) = 0;  // 11
};
struct AddressEntry14 : Reserved<AddressEntry11, 12, 12> {
  virtual HRESULT STDMETHODCALLTYPE get_DisplayType(LONG* type) = 0;  // 13
  virtual HRESULT STDMETHODCALLTYPE get_ID(BSTR* id) = 0;             // 14
};
struct AddressEntries15 : Reserved<IDispatch, 7, 14> {
  virtual HRESULT STDMETHODCALLTYPE GetFirst(AddressEntry** entry) = 0;  // 15
};
struct Account13 : Reserved<IDispatch, 7, 12> {
  virtual HRESULT STDMETHODCALLTYPE get_UserName(BSTR* name) = 0;  // 13
};
struct Attachment13 : Reserved<IDispatch, 7, 12> {
  virtual HRESULT STDMETHODCALLTYPE get_FileName(BSTR* name) = 0;  // 13
};
struct Attachment16 : Reserved<Attachment13, 14, 15> {
  virtual HRESULT STDMETHODCALLTYPE get_PathName(BSTR* path) = 0;  // 16
};
struct Attachment19 : Reserved<Attachment16, 17, 18> {
  virtual HRESULT STDMETHODCALLTYPE get_Type(LONG* type) = 0;  // 19
};

}  // namespace outlookaddin::slots

struct _Application : outlookaddin::slots::Application22 {
  virtual HRESULT STDMETHODCALLTYPE get_Inspectors(_Inspectors** inspectors) = 0;  // 23
};

struct _Inspectors : outlookaddin::Reserved<IDispatch, 7, 10> {
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* count) = 0;                       // 11
  virtual HRESULT STDMETHODCALLTYPE Item(VARIANT index, _Inspector** inspector) = 0;  // 12
};

struct _Inspector : outlookaddin::Reserved<outlookaddin::slots::Inspector12, 13, 22> {
  virtual HRESULT STDMETHODCALLTYPE get_Caption(BSTR* caption) = 0;  // 23
};

struct _Explorers : outlookaddin::Reserved<IDispatch, 7, 10> {
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* count) = 0;                     // 11
  virtual HRESULT STDMETHODCALLTYPE Item(VARIANT index, _Explorer** explorer) = 0;  // 12
};

struct _Explorer : outlookaddin::Reserved<IDispatch, 7, 48> {
  // From version 15 on.
  virtual HRESULT STDMETHODCALLTYPE get_ActiveInlineResponse(IDispatch** item) = 0;  // 49
};

struct _MailItem : outlookaddin::Reserved<outlookaddin::slots::MailItem89, 90, 151> {
  // From version 12 on.
  virtual HRESULT STDMETHODCALLTYPE get_SendUsingAccount(_Account** account) = 0;  // 152
};

struct Recipients : outlookaddin::Reserved<IDispatch, 7, 10> {
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* count) = 0;                      // 11
  virtual HRESULT STDMETHODCALLTYPE Item(VARIANT index, Recipient** recipient) = 0;  // 12
};

struct Recipient : outlookaddin::Reserved<outlookaddin::slots::Recipient12, 13, 19> {
  virtual HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) = 0;  // 20
};

struct AddressEntry : outlookaddin::Reserved<outlookaddin::slots::AddressEntry14, 15, 17> {
  virtual HRESULT STDMETHODCALLTYPE get_Members(AddressEntries** members) = 0;  // 18
};

struct AddressEntries : outlookaddin::Reserved<outlookaddin::slots::AddressEntries15, 16, 16> {
  virtual HRESULT STDMETHODCALLTYPE GetNext(AddressEntry** entry) = 0;  // 17
};

struct _Account : outlookaddin::Reserved<outlookaddin::slots::Account13, 14, 15> {
  // From version 14 on.
  virtual HRESULT STDMETHODCALLTYPE get_CurrentUser(Recipient** user) = 0;  // 16
};

struct _NameSpace : outlookaddin::Reserved<IDispatch, 7, 10> {
  virtual HRESULT STDMETHODCALLTYPE get_CurrentUser(Recipient** user) = 0;  // 11
};

struct Attachments : outlookaddin::Reserved<IDispatch, 7, 10> {
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* count) = 0;                        // 11
  virtual HRESULT STDMETHODCALLTYPE Item(VARIANT index, Attachment** attachment) = 0;  // 12
};

struct Attachment : outlookaddin::Reserved<outlookaddin::slots::Attachment19, 20, 20> {
  virtual HRESULT STDMETHODCALLTYPE SaveAsFile(BSTR path) = 0;  // 21
};

#pragma GCC diagnostic pop
