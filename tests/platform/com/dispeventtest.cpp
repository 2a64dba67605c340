// Event sinks: identities, the event table, order and types of arguments.
#include "platform/com/dispevent.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/com/comerror.h"

namespace {

using testing::ElementsAre;

constexpr IID kSourceIid = {0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr IID kOtherIid = {0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 9}};
constexpr DISPID kNothing = 0x10;
constexpr DISPID kNumbers = 0x11;
constexpr DISPID kFlag = 0x12;
constexpr DISPID kAsked = 0x13;
constexpr DISPID kTooMany = 0x14;
constexpr DISPID kForeign = 0x15;
constexpr DISPID kAnswer = 0x16;

// The function of a row: it calls a virtual member.
template <auto Member>
struct Handler;
template <typename Sink, typename... Parameters,
          HRESULT (STDMETHODCALLTYPE Sink::*Member)(Parameters...)>
struct Handler<Member> {
  static HRESULT STDMETHODCALLTYPE Call(Sink* sink, Parameters... parameters) {
    return (sink->*Member)(parameters...);
  }
  static std::uintptr_t Address() { return platform::HandlerAddress(&Call); }
};

class TestSink final : public IDispEventSimpleImpl<7, TestSink, &kSourceIid> {
 public:
  static const platform::EventRow* Events();

  virtual HRESULT STDMETHODCALLTYPE OnNothing() {
    m_calls.emplace_back("nothing");
    return E_FAIL;
  }
  virtual HRESULT STDMETHODCALLTYPE OnNumbers(LONG first, LONG second, LONG third) {
    m_calls.push_back(std::to_string(first) + " " + std::to_string(second) + " " +
                      std::to_string(third));
    return S_OK;
  }
  virtual HRESULT STDMETHODCALLTYPE OnFlag(VARIANT_BOOL* flag) {
    *flag = VARIANT_TRUE;
    return S_OK;
  }
  virtual HRESULT STDMETHODCALLTYPE OnAnswer() { return 42; }

  HRESULT STDMETHODCALLTYPE GetFuncInfoFromId(REFIID iid, DISPID member, LCID locale,
                                              platform::EventCallForm& form) override {
    EXPECT_TRUE(IsEqualGUID(iid, kSourceIid));
    EXPECT_EQ(member, kAsked);
    EXPECT_EQ(locale, 0x407u);
    form = m_asked;
    return m_askedResult;
  }

  std::vector<std::string> m_calls;
  platform::EventCallForm m_asked = {};
  HRESULT m_askedResult = E_NOTIMPL;
};

const platform::EventRow* TestSink::Events() {
  static constexpr platform::EventCallForm kNone = {CC_STDCALL, VT_EMPTY, 0, {}};
  static constexpr platform::EventCallForm kThree = {
      CC_STDCALL, VT_EMPTY, 3, {VT_I4, VT_I4, VT_I4}};
  static constexpr platform::EventCallForm kByRef = {CC_STDCALL, VT_EMPTY, 1, {VT_BOOL | VT_BYREF}};
  static constexpr platform::EventCallForm kNine = {CC_STDCALL, VT_EMPTY, 9, {}};
  static constexpr platform::EventCallForm kNumber = {CC_STDCALL, VT_I4, 0, {}};
  static const platform::EventRow kRows[] = {
      {7, &kSourceIid, kNothing, Handler<&TestSink::OnNothing>::Address(), &kNone},
      {7, &kSourceIid, kNumbers, Handler<&TestSink::OnNumbers>::Address(), &kThree},
      {7, &kSourceIid, kFlag, Handler<&TestSink::OnFlag>::Address(), &kByRef},
      {7, &kSourceIid, kAsked, Handler<&TestSink::OnNothing>::Address(), nullptr},
      {7, &kSourceIid, kTooMany, Handler<&TestSink::OnNothing>::Address(), &kNine},
      {8, &kSourceIid, kForeign, Handler<&TestSink::OnNothing>::Address(), &kNone},
      {7, &kOtherIid, kForeign, Handler<&TestSink::OnNothing>::Address(), &kNone},
      {7, &kSourceIid, kAnswer, Handler<&TestSink::OnAnswer>::Address(), &kNumber},
      {},
      {7, &kSourceIid, 0x20, Handler<&TestSink::OnNothing>::Address(), &kNone}};
  return kRows;
}

// The sink as the host sees it.
IDispatch* AsDispatch(_IDispEvent& sink) {
  return static_cast<IDispatch*>(sink.EventSink());
}

VARIANTARG Number(LONG value) {
  VARIANTARG variant = {};
  variant.vt = VT_I4;
  variant.lVal = value;
  return variant;
}

// Fires `dispid` with `arguments` in Automation's order, last to first; `names` are for the first
// of them.
HRESULT Fire(_IDispEvent& sink, DISPID dispid, std::vector<VARIANTARG> arguments = {},
             std::vector<DISPID> names = {}, VARIANT* result = nullptr) {
  DISPPARAMS parameters = {};
  parameters.rgvarg = arguments.data();
  parameters.rgdispidNamedArgs = names.data();
  parameters.cArgs = static_cast<UINT>(arguments.size());
  parameters.cNamedArgs = static_cast<UINT>(names.size());
  return AsDispatch(sink)->Invoke(dispid, GUID_NULL, 0x407, DISPATCH_METHOD, &parameters, result,
                                  nullptr, nullptr);
}

TEST(SinkIdentity, StartsUnsubscribedWithEmptyIds) {
  TestSink sink;
  EXPECT_EQ(sink.m_dwEventCookie, 0xFEFEFEFEu);
  EXPECT_TRUE(IsEqualGUID(sink.m_libid, GUID_NULL));
  EXPECT_TRUE(IsEqualGUID(sink.m_iid, GUID_NULL));
  EXPECT_EQ(sink.m_wMajorVerNum, 0);
  EXPECT_EQ(sink.m_wMinorVerNum, 0);
}

TEST(SinkIdentity, FieldsFollowTheTableInOrder) {
  TestSink sink;
  const auto at = [&](const void* field) {
    return static_cast<const char*>(field) - reinterpret_cast<const char*>(&sink);
  };
  const auto table = static_cast<std::ptrdiff_t>(sizeof(void*));
  EXPECT_EQ(at(&sink.m_libid), table);
  EXPECT_EQ(at(&sink.m_iid), table + 16);
  EXPECT_EQ(at(&sink.m_wMajorVerNum), table + 32);
  EXPECT_EQ(at(&sink.m_wMinorVerNum), table + 34);
  EXPECT_EQ(at(&sink.m_dwEventCookie), table + 36);
}

TEST(SinkIdentity, ReturnsItselfForItsSourceUnknownAndDispatch) {
  TestSink sink;
  IUnknown* const host = sink.EventSink();
  for (const IID& iid : {kSourceIid, IID_IUnknown, IID_IDispatch}) {
    void* object = nullptr;
    EXPECT_EQ(host->QueryInterface(iid, &object), S_OK);
    EXPECT_EQ(object, host);
  }
}

TEST(SinkIdentity, ReturnsItselfForTheIdSetAtRunTime) {
  TestSink sink;
  sink.m_iid = kOtherIid;
  void* object = nullptr;
  EXPECT_EQ(sink._LocDEQueryInterface(kOtherIid, &object), S_OK);
  EXPECT_EQ(object, sink.EventSink());
}

TEST(SinkIdentity, RejectsTheZeroIdThoughItsFieldIsZero) {
  TestSink sink;
  void* object = &sink;
  EXPECT_EQ(sink._LocDEQueryInterface(GUID_NULL, &object), static_cast<HRESULT>(0x80004002));
  EXPECT_EQ(object, nullptr);
}

TEST(SinkIdentity, RejectsOtherIdsAndClearsTheResult) {
  TestSink sink;
  void* object = &sink;
  EXPECT_EQ(sink._LocDEQueryInterface(kOtherIid, &object), static_cast<HRESULT>(0x80004002));
  EXPECT_EQ(object, nullptr);
}

TEST(SinkIdentity, RejectsANullResultPointer) {
  TestSink sink;
  EXPECT_EQ(sink._LocDEQueryInterface(kSourceIid, nullptr), static_cast<HRESULT>(0x80004003));
  EXPECT_EQ(sink._LocDEQueryInterface(GUID_NULL, nullptr), static_cast<HRESULT>(0x80004003));
}

TEST(SinkIdentity, IsNotCounted) {
  TestSink sink;
  IUnknown* const host = sink.EventSink();
  EXPECT_EQ(host->AddRef(), 1u);
  EXPECT_EQ(host->AddRef(), 1u);
  EXPECT_EQ(host->Release(), 1u);
  EXPECT_EQ(host->Release(), 1u);
  EXPECT_EQ(host->Release(), 1u);
}

TEST(SinkIdentity, HasNoTypeInformation) {
  TestSink sink;
  IDispatch* const host = AsDispatch(sink);
  UINT count = 0;
  ITypeInfo* info = nullptr;
  DISPID dispid = 0;
  LPOLESTR name = nullptr;
  const auto notImplemented = static_cast<HRESULT>(0x80004001);
  EXPECT_EQ(host->GetTypeInfoCount(&count), notImplemented);
  EXPECT_EQ(host->GetTypeInfo(0, 0, &info), notImplemented);
  EXPECT_EQ(host->GetIDsOfNames(GUID_NULL, &name, 1, 0, &dispid), notImplemented);
}

TEST(SinkSubscription, ReturnsThePlaceOfItsCookieOnlyWhileUnsubscribed) {
  TestSink sink;
  DWORD* const place = sink.NewEventCookie();
  EXPECT_EQ(place, &sink.m_dwEventCookie);
  *place = 5;
  try {
    sink.NewEventCookie();
    ADD_FAILURE() << "a second subscription was let through";
  } catch (const CAtlException& raised) {
    EXPECT_EQ(raised.m_hr, static_cast<HRESULT>(0x80004005));
  }
  EXPECT_EQ(sink.m_dwEventCookie, 5u);
}

TEST(SinkInvoke, CallsTheHandlerOfTheRow) {
  TestSink sink;
  EXPECT_EQ(Fire(sink, kNothing), S_OK);
  EXPECT_THAT(sink.m_calls, ElementsAre("nothing"));
}

TEST(SinkInvoke, IgnoresEventsWithoutARow) {
  TestSink sink;
  EXPECT_EQ(Fire(sink, 0x7777), S_OK);
  EXPECT_EQ(Fire(sink, 0), S_OK);
  EXPECT_EQ(Fire(sink, -1), S_OK);
  EXPECT_TRUE(sink.m_calls.empty());
}

TEST(SinkInvoke, IgnoresRowsOfAnotherControlOrInterface) {
  TestSink sink;
  EXPECT_EQ(Fire(sink, kForeign), S_OK);
  EXPECT_TRUE(sink.m_calls.empty());
}

TEST(SinkInvoke, StopsAtTheTerminator) {
  TestSink sink;
  EXPECT_EQ(Fire(sink, 0x20), S_OK);
  EXPECT_TRUE(sink.m_calls.empty());
}

TEST(SinkInvoke, PutsUnnamedArgumentsIntoDeclaredOrder) {
  TestSink sink;
  EXPECT_EQ(Fire(sink, kNumbers, {Number(3), Number(2), Number(1)}), S_OK);
  EXPECT_THAT(sink.m_calls, ElementsAre("1 2 3"));
}

TEST(SinkInvoke, PutsNamedArgumentsWhereTheirNamesSay) {
  TestSink sink;
  EXPECT_EQ(Fire(sink, kNumbers, {Number(30), Number(20), Number(10)}, {1, 2}), S_OK);
  EXPECT_EQ(Fire(sink, kNumbers, {Number(1), Number(2), Number(3)}, {2, 0, 1}), S_OK);
  EXPECT_THAT(sink.m_calls, ElementsAre("10 30 20", "2 3 1"));
}

TEST(SinkInvoke, RejectsANamedIndexOutsideTheArray) {
  TestSink sink;
  const auto fail = static_cast<HRESULT>(0x80004005);
  EXPECT_EQ(Fire(sink, kNumbers, {Number(1), Number(2), Number(3)}, {8}), fail);
  EXPECT_EQ(Fire(sink, kNumbers, {Number(1), Number(2), Number(3)}, {-3}), fail);
  EXPECT_TRUE(sink.m_calls.empty());
}

TEST(SinkInvoke, ANamedIndexAfterTheDeclaredParametersIsIgnored) {
  TestSink sink;
  EXPECT_EQ(Fire(sink, kNumbers, {Number(9), Number(3), Number(2), Number(1)}, {7}), S_OK);
  EXPECT_THAT(sink.m_calls, ElementsAre("1 2 3"));
}

TEST(SinkInvoke, RejectsMoreArgumentsThanTheArrayHolds) {
  TestSink sink;
  EXPECT_EQ(Fire(sink, kNumbers, std::vector<VARIANTARG>(9, Number(1))),
            static_cast<HRESULT>(0x80004005));
  EXPECT_EQ(Fire(sink, kNumbers, std::vector<VARIANTARG>(8, Number(1))), S_OK);
  EXPECT_THAT(sink.m_calls, ElementsAre("1 1 1"));
}

TEST(SinkInvoke, RejectsAnUndeclaredArgument) {
  TestSink sink;
  EXPECT_EQ(Fire(sink, kNothing, {Number(1)}), static_cast<HRESULT>(0x80004005));
  EXPECT_TRUE(sink.m_calls.empty());
}

TEST(SinkInvoke, RejectsAFormWithMoreThanEightParameters) {
  TestSink sink;
  EXPECT_EQ(Fire(sink, kTooMany), static_cast<HRESULT>(0x80004005));
  EXPECT_TRUE(sink.m_calls.empty());
}

TEST(SinkInvoke, RejectsAMissingArgument) {
  TestSink sink;
  EXPECT_EQ(Fire(sink, kNumbers, {Number(1), Number(2)}), DISP_E_BADPARAMCOUNT);
  EXPECT_EQ(AsDispatch(sink)->Invoke(kNumbers, GUID_NULL, 0, DISPATCH_METHOD, nullptr, nullptr,
                                     nullptr, nullptr),
            DISP_E_BADPARAMCOUNT);
  EXPECT_TRUE(sink.m_calls.empty());
}

TEST(SinkInvoke, RejectsMoreNamesThanArguments) {
  TestSink sink;
  EXPECT_EQ(Fire(sink, kNumbers, {Number(1)}, {0, 1, 2}), static_cast<HRESULT>(0x80004005));
}

TEST(SinkInvoke, NeedsNoParameterBlockForAHandlerWithoutParameters) {
  TestSink sink;
  EXPECT_EQ(AsDispatch(sink)->Invoke(kNothing, GUID_NULL, 0, DISPATCH_METHOD, nullptr, nullptr,
                                     nullptr, nullptr),
            S_OK);
  EXPECT_THAT(sink.m_calls, ElementsAre("nothing"));
}

TEST(SinkInvoke, PassesAReference) {
  TestSink sink;
  VARIANT_BOOL flag = VARIANT_FALSE;
  VARIANTARG argument = {};
  argument.vt = VT_BOOL | VT_BYREF;
  argument.pboolVal = &flag;
  EXPECT_EQ(Fire(sink, kFlag, {argument}), S_OK);
  EXPECT_EQ(flag, VARIANT_TRUE);
}

TEST(SinkInvoke, RejectsAValueForAReference) {
  TestSink sink;
  VARIANTARG argument = {};
  argument.vt = VT_BOOL;
  argument.boolVal = VARIANT_TRUE;
  EXPECT_EQ(Fire(sink, kFlag, {argument}), DISP_E_TYPEMISMATCH);
}

TEST(SinkInvoke, AsksTheSinkForAFormThatTheRowLacks) {
  TestSink sink;
  EXPECT_EQ(Fire(sink, kAsked), S_OK);
  EXPECT_TRUE(sink.m_calls.empty());
  sink.m_askedResult = S_OK;
  sink.m_asked = {CC_STDCALL, VT_EMPTY, 0, {}};
  EXPECT_EQ(Fire(sink, kAsked), S_OK);
  EXPECT_THAT(sink.m_calls, ElementsAre("nothing"));
}

// The handler's E_FAIL is dropped; the caller gets the result of the call itself.
TEST(SinkInvoke, ReturnsTheResultOfTheCallNotTheHandlers) {
  TestSink sink;
  VARIANT result = Number(7);
  EXPECT_EQ(Fire(sink, kNothing, {}, {}, &result), S_OK);
  EXPECT_EQ(result.vt, VT_EMPTY);
  EXPECT_EQ(Fire(sink, kAnswer, {}, {}, &result), S_OK);
  EXPECT_EQ(result.vt, VT_I4);
  EXPECT_EQ(result.lVal, 42);
}

// A sink that is also another object with its own table, like the add-in's main object.
struct OtherTable {
  virtual HRESULT STDMETHODCALLTYPE First() = 0;

 protected:
  ~OtherTable() = default;
};

class SecondSink final : public OtherTable,
                         public IDispEventSimpleImpl<1, SecondSink, &kSourceIid> {
 public:
  static const platform::EventRow* Events() {
    static constexpr platform::EventCallForm kForm = {CC_STDCALL, VT_EMPTY, 1, {VT_I4}};
    static const platform::EventRow kRows[] = {
        {1, &kSourceIid, kNothing, Handler<&SecondSink::OnEvent>::Address(), &kForm}, {}};
    return kRows;
  }
  HRESULT STDMETHODCALLTYPE First() override { return S_FALSE; }
  virtual HRESULT STDMETHODCALLTYPE OnEvent(LONG number) {
    m_seen = number;
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++m_count; }
  ULONG STDMETHODCALLTYPE Release() override { return --m_count; }

  LONG m_seen = 0;
  ULONG m_count = 0;
};

TEST(SinkAsSecondTable, ReachesAHandlerInTheFirstTable) {
  SecondSink sink;
  EXPECT_NE(static_cast<void*>(sink.EventSink()), static_cast<void*>(&sink));
  EXPECT_EQ(Fire(sink, kNothing, {Number(77)}), S_OK);
  EXPECT_EQ(sink.m_seen, 77);
}

TEST(SinkAsSecondTable, IsCountedByItsClass) {
  SecondSink sink;
  void* object = nullptr;
  EXPECT_EQ(sink.EventSink()->QueryInterface(kSourceIid, &object), S_OK);
  EXPECT_EQ(sink.m_count, 1u);
  EXPECT_EQ(sink.EventSink()->AddRef(), 2u);
  EXPECT_EQ(sink.EventSink()->Release(), 1u);
}

}  // namespace
