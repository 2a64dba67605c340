// The image of a signature: its name in the HTML, the search for its file, and the request.
#include "tests/agent/outlookaddin/gatefixture.h"

namespace tests {
namespace {

constexpr const char* kNotFound = "Cannot find signature filepath.";

// Replaces the listings of a folder and of the folders in it, in the given order. An empty folder
// can't be listed.
class FakeListing {
 public:
  struct Outer {
    std::string name;
    bool isFolder;
    std::vector<std::string> names;
    bool canBeListed = true;
  };

  FakeListing(std::string root, std::vector<Outer> entries)
      : m_root(std::move(root)),
        m_entries(std::move(entries)),
        m_first([this](auto, const char* pattern, platform::FindData* entry) {
          return First(pattern, entry);
        }),
        m_next([](auto, platform::Handle handle, platform::FindData* entry) {
          return handle != platform::kInvalidHandle && Next(static_cast<Walk*>(handle), entry);
        }),
        m_close([](auto, platform::Handle) { return true; }) {}

 private:
  struct Walk {
    std::vector<platform::FindData> left;  // in reverse order
  };

  static platform::FindData Record(const std::string& name, bool isFolder) {
    platform::FindData record = {};
    record.dwFileAttributes =
        isFolder ? platform::kFileAttributeDirectory : platform::kFileAttributeNormal;
    name.copy(record.cFileName, sizeof(record.cFileName) - 1);
    return record;
  }
  platform::Handle First(const std::string& pattern, platform::FindData* entry) {
    auto walk = std::make_unique<Walk>();
    for (const Outer& outer : m_entries) {
      if (pattern == m_root + "*") walk->left.push_back(Record(outer.name, outer.isFolder));
      if (pattern == m_root + outer.name + "\\*" && outer.canBeListed) {
        for (const std::string& name : outer.names) walk->left.push_back(Record(name, false));
      }
    }
    std::reverse(walk->left.begin(), walk->left.end());
    if (!Next(walk.get(), entry)) return platform::kInvalidHandle;
    m_walks.push_back(std::move(walk));
    return m_walks.back().get();
  }
  static bool Next(Walk* walk, platform::FindData* entry) {
    if (walk->left.empty()) return false;
    *entry = walk->left.back();
    walk->left.pop_back();
    return true;
  }

  std::string m_root;
  std::vector<Outer> m_entries;
  std::vector<std::unique_ptr<Walk>> m_walks;
  platform::ScopedReplacement<platform::files, &platform::FileOperations::FindFirstFileA> m_first;
  platform::ScopedReplacement<platform::files, &platform::FileOperations::FindNextFileA> m_next;
  platform::ScopedReplacement<platform::files, &platform::FileOperations::FindClose> m_close;
};

class GateSignatureName : public GateTest {};

class GateSignature : public GateTest {
 protected:
  // The path that the sink has kept, read from the request that it makes.
  std::string KeptPath() {
    asked.clear();
    Sink().CheckSignature();
    return asked.empty() ? "" : asked.front().payload;
  }
  // Checks the body of a mail with this HTML.
  void CheckBodyWith(const std::string& html) {
    mail.body = "";
    mail.htmlBody = html;
    RenewHost();
    Sink().CheckBody(Item());
  }
};

TEST_F(GateSignatureName, IsTheTextBetweenTheKeywords) {
  EXPECT_EQ(DlpMailEvent::GetSignatureImageName(
                "<p>text</p><img src=\"cid:image001.png@01D5A3.7C6\"> me@example.org"),
            "image001.png");
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(GateSignatureName, IgnoresOtherSpellingsOfTheKeyword) {
  for (const char* html :
       {"<img src='cid:a.png@1'>", "<img SRC=\"cid:a.png@1\">", "<img src = \"cid:a.png@1\">",
        "<img src=\"CID:a.png@1\">", "<img src=cid:a.png@1>", "", "me@example.org"}) {
    EXPECT_EQ(DlpMailEvent::GetSignatureImageName(html), "") << html;
  }
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(GateSignatureName, IsEmptyWithAWarningIfTheEndKeywordIsMissing) {
  EXPECT_EQ(DlpMailEvent::GetSignatureImageName("me@example.org <img src=\"cid:a.png\">"), "");
  EXPECT_THAT(Lines(), ElementsAre(Warn("Not find end keyword for signature image.")));
}

TEST_F(GateSignature, LooksForNoImageIfTheEndKeywordIsMissing) {
  CheckBodyWith("<img src=\"cid:a.png\">");
  EXPECT_THAT(Lines(),
              ElementsAre(Info("Body: "), Warn("Not find end keyword for signature image.")));
}

TEST_F(GateSignature, LooksForNoImageIfTheNameIsEmpty) {
  EXPECT_EQ(DlpMailEvent::GetSignatureImageName("<img src=\"cid:@1\">"), "");
  CheckBodyWith("<img src=\"cid:@1\">");
  EXPECT_THAT(Lines(), ElementsAre(Info("Body: ")));
}

TEST_F(GateSignature, FindsNothingForANameThatEndsAtALaterAddress) {
  MakeSignature("Work/a.png");
  CheckBodyWith("<img src=\"cid:a.png\"> mail me@example.org");
  EXPECT_EQ(CountLines(Info("Find signature image: [a.png\"> mail me]")), 1);
  EXPECT_EQ(CountLines(Err(kNotFound)), 1);
  EXPECT_EQ(KeptPath(), "");
}

TEST_F(GateSignature, LooksForTheFirstImageOnly) {
  MakeSignature("Work/second.png");
  CheckBodyWith("<img src=\"cid:first.png@1\"><img src=\"cid:second.png@2\">");
  EXPECT_EQ(CountLines(Info("Find signature image: [first.png]")), 1);
  EXPECT_EQ(CountLines(Info("Find signature image: [second.png]")), 0);
  EXPECT_EQ(CountLines(Err(kNotFound)), 1);
  EXPECT_EQ(KeptPath(), "");
}

TEST_F(GateSignature, FindsAnImageOneFolderDownAndSendsItsPath) {
  MakeSignature("Work/logo.png", "the image");
  EXPECT_TRUE(Sink().FindSignatureFilePath("logo.png"));
  const std::string path = SignaturePath("Work\\logo.png");
  EXPECT_EQ(CountLines(Info("findFileData name Work.")), 1);
  EXPECT_EQ(CountLines(Info("signaturefolder " + SignaturePath("Work") + ".")), 1);
  EXPECT_EQ(Lines().back(), Info("Full signature path [" + path + "]"));
  ForgetLines();
  answers[1] = 7;
  EXPECT_EQ(Sink().CheckSignature(), 7);
  ASSERT_EQ(asked.size(), 1U);
  EXPECT_EQ(asked[0].type, 1U);
  EXPECT_EQ(asked[0].payload, path);
  EXPECT_EQ(asked[0].name, "");
  EXPECT_EQ(asked[0].file, "the image");
  EXPECT_THAT(Lines(), ElementsAre(Info("Check [logo.png]")));
  EXPECT_TRUE(Exists("appdata/Microsoft/Signatures/Work/logo.png")) << "the user's file stays";
}

TEST_F(GateSignature, FindsNoImageAtOtherDepths) {
  MakeSignature("top.png");
  MakeSignature("Work/deeper/deep.png");
  EXPECT_FALSE(Sink().FindSignatureFilePath("top.png"));
  EXPECT_FALSE(Sink().FindSignatureFilePath("deep.png"));
  EXPECT_EQ(KeptPath(), "");
  EXPECT_EQ(CountLines(Info("findFileData name top.png.")), 2);
}

TEST_F(GateSignature, FindsAFolderOfThatName) {
  MakeSignature("Work/logo.png/inside.txt");
  EXPECT_TRUE(Sink().FindSignatureFilePath("logo.png"));
  EXPECT_EQ(KeptPath(), SignaturePath("Work\\logo.png"));
}

TEST_F(GateSignature, IsCaseSensitive) {
  MakeSignature("Work/Logo.png");
  EXPECT_FALSE(Sink().FindSignatureFilePath("logo.png"));
}

TEST_F(GateSignature, ComparesUtf8WithAnsiBytes) {
  const std::string utf8 =
      "Gr\xC3\xBC"
      "n.png";
  {
    // The same letter in code page 1252.
    const FakeListing listing(SignaturePath(""), {{"Work",
                                                   true,
                                                   {"Gr\xFC"
                                                    "n.png"}}});
    EXPECT_FALSE(Sink().FindSignatureFilePath(utf8));
  }
  const FakeListing listing(SignaturePath(""), {{"Work", true, {utf8}}});
  EXPECT_TRUE(Sink().FindSignatureFilePath(utf8));
}

TEST_F(GateSignature, TakesTheFirstMatchInTheOrderOfTheListing) {
  const FakeListing listing(SignaturePath(""), {{".", true, {"logo.png"}},
                                                {"..", true, {"logo.png"}},
                                                {"a.htm", false, {}},
                                                {"Z", true, {"other.png"}},
                                                {"A", true, {"other.png", "logo.png", "more.png"}},
                                                {"B", true, {"logo.png"}}});
  EXPECT_TRUE(Sink().FindSignatureFilePath("logo.png"));
  EXPECT_THAT(
      Lines(),
      ElementsAre(Info("findFileData name .."), Info("findFileData name ..."),
                  Info("findFileData name a.htm."), Info("findFileData name Z."),
                  Info("signaturefolder " + SignaturePath("Z") + "."), Info("findFileData name A."),
                  Info("signaturefolder " + SignaturePath("A") + "."),
                  Info("Full signature path [" + SignaturePath("A\\logo.png") + "]")));
  EXPECT_EQ(KeptPath(), SignaturePath("A\\logo.png"));
}

TEST_F(GateSignature, ClosesOnlyTheOuterListing) {
  MakeSignature("One/a.png");
  MakeSignature("Two/b.png");
  std::vector<std::pair<std::string, platform::Handle>> opened;
  std::vector<platform::Handle> closed;
  platform::ScopedReplacement<platform::files, &platform::FileOperations::FindFirstFileA> opening(
      [&](auto original, const char* pattern, platform::FindData* entry) {
        const platform::Handle handle = original(pattern, entry);
        opened.emplace_back(pattern, handle);
        return handle;
      });
  platform::ScopedReplacement<platform::files, &platform::FileOperations::FindClose> closing(
      [&](auto original, platform::Handle handle) {
        closed.push_back(handle);
        return original(handle);
      });
  // No match: both folders are searched.
  EXPECT_FALSE(Sink().FindSignatureFilePath("missing.png"));
  ASSERT_EQ(opened.size(), 3U);
  EXPECT_EQ(opened[0].first, SignaturePath("*"));
  EXPECT_THAT((std::vector{opened[1].first, opened[2].first}),
              testing::UnorderedElementsAre(SignaturePath("One\\*"), SignaturePath("Two\\*")));
  EXPECT_THAT(closed, ElementsAre(opened[0].second));
  EXPECT_THAT(openListings, ElementsAre(opened[1].second, opened[2].second));
  opened.clear();
  closed.clear();
  // A match.
  EXPECT_TRUE(Sink().FindSignatureFilePath("a.png"));
  EXPECT_GE(opened.size(), 2U);
  EXPECT_THAT(closed, ElementsAre(opened[0].second));
  EXPECT_EQ(openListings.size(), 2 + opened.size() - 1);
}

TEST_F(GateSignature, DoesNotSearchWithoutAnApplicationDataFolder) {
  MakeSignature("Work/logo.png");
  int result = 0;
  platform::ScopedReplacement<platform::folders, &platform::FolderOperations::SHGetFolderPathA>
      failing([&](auto original, int csidl, char* buffer) {
        EXPECT_EQ(csidl, 26);
        original(csidl, buffer);
        return result;
      });
  // S_FALSE means that the folder doesn't exist.
  for (const int each : {-1, 1}) {
    result = each;
    EXPECT_FALSE(Sink().FindSignatureFilePath("logo.png")) << each;
    EXPECT_THAT(Lines(), IsEmpty()) << each;
  }
  CheckBodyWith("<img src=\"cid:logo.png@1\">");
  EXPECT_THAT(Lines(), ElementsAre(Info("Body: "), Info("Find signature image: [logo.png]"),
                                   Err(kNotFound)));
}

TEST_F(GateSignature, SeesOneEmptyEntryIfTheFolderCannotBeListed) {
  std::vector<std::string> calls;
  platform::ScopedReplacement<platform::files, &platform::FileOperations::FindNextFileA> next(
      [&](auto original, platform::Handle handle, platform::FindData* entry) {
        calls.push_back(handle == platform::kInvalidHandle ? "next on the failed handle" : "next");
        return original(handle, entry);
      });
  platform::ScopedReplacement<platform::files, &platform::FileOperations::FindClose> close(
      [&](auto original, platform::Handle handle) {
        calls.push_back(handle == platform::kInvalidHandle ? "close on the failed handle"
                                                           : "close");
        return original(handle);
      });
  CheckBodyWith("<img src=\"cid:logo.png@1\">");
  EXPECT_THAT(Lines(), ElementsAre(Info("Body: "), Info("Find signature image: [logo.png]"),
                                   Info("findFileData name ."), Err(kNotFound)));
  EXPECT_THAT(calls, ElementsAre("next on the failed handle", "close on the failed handle"));
}

TEST_F(GateSignature, GoesOnAfterAFolderThatCannotBeListed) {
  const FakeListing listing(
      SignaturePath(""),
      {{"A", true, {"a.png"}}, {"Locked", true, {"logo.png"}, false}, {"B", true, {"logo.png"}}});
  EXPECT_TRUE(Sink().FindSignatureFilePath("logo.png"));
  EXPECT_EQ(CountLines(Info("signaturefolder " + SignaturePath("Locked") + ".")), 1);
  EXPECT_EQ(KeptPath(), SignaturePath("B\\logo.png"));
}

TEST_F(GateSignature, KeepsAnEarlierPathWithoutAMatch) {
  MakeSignature("Work/logo.png");
  EXPECT_TRUE(Sink().FindSignatureFilePath("logo.png"));
  EXPECT_FALSE(Sink().FindSignatureFilePath("missing.png"));
  EXPECT_EQ(KeptPath(), SignaturePath("Work\\logo.png"));
}

TEST_F(GateSignature, ReplacesAnEarlierPathByALaterMatch) {
  MakeSignature("Work/one.png");
  MakeSignature("Work/two.png");
  EXPECT_TRUE(Sink().FindSignatureFilePath("one.png"));
  EXPECT_TRUE(Sink().FindSignatureFilePath("two.png"));
  EXPECT_EQ(KeptPath(), SignaturePath("Work\\two.png"));
}

TEST_F(GateSignature, SendsAPathOnce) {
  MakeSignature("Work/logo.png");
  Sink().FindSignatureFilePath("logo.png");
  EXPECT_EQ(Sink().CheckSignature(), 4);
  ForgetLines();
  asked.clear();
  EXPECT_EQ(Sink().CheckSignature(), 1);
  EXPECT_THAT(Lines(), IsEmpty());
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(GateSignature, ForgetsThePathEvenWithoutAnAgent) {
  MakeSignature("Work/logo.png");
  Sink().FindSignatureFilePath("logo.png");
  StopAgent();
  EXPECT_EQ(Sink().CheckSignature(), 1);
  ForgetLines();
  EXPECT_EQ(Sink().CheckSignature(), 1);
  EXPECT_THAT(Lines(), IsEmpty());
}

}  // namespace
}  // namespace tests
