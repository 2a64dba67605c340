// The identities and slots of the host's interfaces. The simulated host is built from the same
// headers, so only numbers that are written a second time show a mistake.
#include <gtest/gtest.h>

#include "agent/outlookaddin/extensibility.h"
#include "agent/outlookaddin/outlookmodel.h"
#include "platform/com/guid.h"
#include "tests/support/vtableslot.h"

namespace {

using platform::GuidFromText;
using tests::SlotOf;

TEST(HostIdentities, OfTheAddInsContract) {
  EXPECT_EQ(IID__IDTExtensibility2, GuidFromText("{B65AD801-ABAF-11D0-BB8B-00A0C90F2744}"));
  EXPECT_EQ(LIBID_AddInDesignerObjects, GuidFromText("{AC0714F2-3D04-11D1-AE7D-00A0C90F26F4}"));
}

TEST(HostIdentities, OfTheObjectsAndEvents) {
  using namespace outlookaddin;
  EXPECT_EQ(IID__Application, GuidFromText("{00063001-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID__NameSpace, GuidFromText("{00063002-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID__Explorer, GuidFromText("{00063003-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID__Inspector, GuidFromText("{00063005-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID_Attachment, GuidFromText("{00063007-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID__Inspectors, GuidFromText("{00063008-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID__Explorers, GuidFromText("{0006300A-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID__MailItem, GuidFromText("{00063034-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID_Recipients, GuidFromText("{0006303B-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID_Attachments, GuidFromText("{0006303C-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID_Recipient, GuidFromText("{00063045-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID_AddressEntries, GuidFromText("{0006304A-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID_AddressEntry, GuidFromText("{0006304B-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID__Account, GuidFromText("{000630C5-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID_ExplorerEvents_10, GuidFromText("{0006300F-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID_ItemEvents, GuidFromText("{0006303A-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID_InspectorsEvents, GuidFromText("{00063079-0000-0000-C000-000000000046}"));
  EXPECT_EQ(IID_InspectorEvents, GuidFromText("{0006307D-0000-0000-C000-000000000046}"));
}

TEST(HostSlots, OfTheAddInsContract) {
  EXPECT_EQ(SlotOf(&_IDTExtensibility2::OnConnection), 7u);
  EXPECT_EQ(SlotOf(&_IDTExtensibility2::OnDisconnection), 8u);
  EXPECT_EQ(SlotOf(&_IDTExtensibility2::OnAddInsUpdate), 9u);
  EXPECT_EQ(SlotOf(&_IDTExtensibility2::OnStartupComplete), 10u);
  EXPECT_EQ(SlotOf(&_IDTExtensibility2::OnBeginShutdown), 11u);
}

TEST(HostSlots, OfTheObjects) {
  EXPECT_EQ(SlotOf(&_Application::get_Version), 13u);
  EXPECT_EQ(SlotOf(&_Application::get_Explorers), 22u);
  EXPECT_EQ(SlotOf(&_Inspector::get_CurrentItem), 12u);
  EXPECT_EQ(SlotOf(&_MailItem::get_Session), 9u);
  EXPECT_EQ(SlotOf(&_MailItem::get_Attachments), 12u);
  EXPECT_EQ(SlotOf(&_MailItem::get_Body), 15u);
  EXPECT_EQ(SlotOf(&_MailItem::get_MAPIOBJECT), 30u);
  EXPECT_EQ(SlotOf(&_MailItem::get_Subject), 43u);
  EXPECT_EQ(SlotOf(&_MailItem::get_HTMLBody), 76u);
  EXPECT_EQ(SlotOf(&_MailItem::get_Recipients), 89u);
  EXPECT_EQ(SlotOf(&Recipient::get_AddressEntry), 12u);
  EXPECT_EQ(SlotOf(&AddressEntry::get_Address), 11u);
  EXPECT_EQ(SlotOf(&AddressEntry::get_DisplayType), 13u);
  EXPECT_EQ(SlotOf(&AddressEntry::get_ID), 14u);
  EXPECT_EQ(SlotOf(&AddressEntries::GetFirst), 15u);
  EXPECT_EQ(SlotOf(&_Account::get_UserName), 13u);
  EXPECT_EQ(SlotOf(&Attachment::get_FileName), 13u);
  EXPECT_EQ(SlotOf(&Attachment::get_PathName), 16u);
  EXPECT_EQ(SlotOf(&Attachment::get_Type), 19u);
  EXPECT_EQ(SlotOf(&_Application::get_Inspectors), 23u);
  EXPECT_EQ(SlotOf(&_Inspectors::get_Count), 11u);
  EXPECT_EQ(SlotOf(&_Inspectors::Item), 12u);
  EXPECT_EQ(SlotOf(&_Inspector::get_Caption), 23u);
  EXPECT_EQ(SlotOf(&_Explorers::get_Count), 11u);
  EXPECT_EQ(SlotOf(&_Explorers::Item), 12u);
  EXPECT_EQ(SlotOf(&_Explorer::get_ActiveInlineResponse), 49u);
  EXPECT_EQ(SlotOf(&_MailItem::get_SendUsingAccount), 152u);
  EXPECT_EQ(SlotOf(&Recipients::get_Count), 11u);
  EXPECT_EQ(SlotOf(&Recipients::Item), 12u);
  EXPECT_EQ(SlotOf(&Recipient::get_Name), 20u);
  EXPECT_EQ(SlotOf(&AddressEntry::get_Members), 18u);
  EXPECT_EQ(SlotOf(&AddressEntries::GetNext), 17u);
  EXPECT_EQ(SlotOf(&_Account::get_CurrentUser), 16u);
  EXPECT_EQ(SlotOf(&_NameSpace::get_CurrentUser), 11u);
  EXPECT_EQ(SlotOf(&Attachments::get_Count), 11u);
  EXPECT_EQ(SlotOf(&Attachments::Item), 12u);
  EXPECT_EQ(SlotOf(&Attachment::SaveAsFile), 21u);
}

}  // namespace
