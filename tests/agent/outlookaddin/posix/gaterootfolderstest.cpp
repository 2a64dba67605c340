// The gate with the real folder operations, whose folders are all below QUORVEX_ROOT.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "agent/outlookaddin/dlpmailevent.h"
#include "channel/agentchannel.h"
#include "platform/files.h"
#include "platform/scopedreplacement.h"
#include "simulation/host/simulatedhost.h"
#include "tests/support/scriptedagent.h"
#include "tests/support/temporaryfolder.h"

namespace tests {
namespace {

class GateRootFolders : public testing::Test {
 protected:
  GateRootFolders() { setenv("QUORVEX_ROOT", m_root.Path().c_str(), 1); }
  ~GateRootFolders() override { unsetenv("QUORVEX_ROOT"); }

  void Write(const std::string& place, const std::string& content) {
    const std::filesystem::path path = m_root.Path() / place;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
  }

  tests::TemporaryFolder m_root;
};

TEST_F(GateRootFolders, AMailUsesAllFoldersBelowTheRoot) {
  Write("appdata/Microsoft/Signatures/Work/logo.png", "the image");
  Write("windows/system32/zbagent/vrk.pro", "use_challenge_response=true\n");
  simulation::mail::MailModel model;
  model.recipients.push_back({"name", std::make_shared<simulation::mail::MailAddressEntry>()});
  model.recipients[0].entry->address = "a";
  model.subject = "the subject";
  model.body = "the body";
  model.htmlBody = "<img src=\"cid:logo.png@1\">";
  simulation::mail::MailAttachment attachment;
  attachment.fileName = "a.doc";
  attachment.content = "the content";
  model.attachments.push_back(attachment);

  tests::ScriptedAgent agent;
  std::set<platform::Handle> listings;
  platform::ScopedReplacement<platform::files, &platform::FileOperations::FindFirstFileA> opening(
      [&](auto original, auto... arguments) {
        const platform::Handle listing = original(arguments...);
        listings.insert(listing);
        return listing;
      });
  platform::ScopedReplacement<platform::files, &platform::FileOperations::FindClose> closing(
      [&](auto original, platform::Handle listing) {
        listings.erase(listing);
        return original(listing);
      });
  simulation::host::SimulatedHost host;
  simulation::host::HostMailItem& item = host.CreateMail(model);
  item.AddRef();
  {
    DlpMailEvent sink(&item);
    VARIANT_BOOL cancel = 0;
    sink.OnMailSend(&cancel);
    EXPECT_EQ(cancel, 0);
  }
  std::vector<std::string> files;
  for (const tests::SeenRequest& request : agent.Requests()) {
    if (request.file) files.push_back(*request.file);
  }
  EXPECT_EQ(files,
            (std::vector<std::string>{"the subject", "the body", "the image", "the content"}));
  EXPECT_TRUE(GetAgentChannel()->m_bChallengeResponse);
  EXPECT_TRUE(std::filesystem::is_empty(m_root.Path() / "temp"));
  // The listing of the folder "Work" stays open on purpose.
  ASSERT_EQ(listings.size(), 1U);
  platform::files.FindClose(*listings.begin());
}

}  // namespace
}  // namespace tests
