#include "simulation/agent/sha256.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using simulation::agent::Sha256;
using simulation::agent::Sha256Of;

// The examples of FIPS 180-4 and of NIST's test vectors.
TEST(Sha256, PublishedVectors) {
  EXPECT_EQ(Sha256Of(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(Sha256Of("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(Sha256Of("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  EXPECT_EQ(Sha256Of("abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmn"
                     "hijklmnoijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu"),
            "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1");
  EXPECT_EQ(Sha256Of(std::string(1'000'000, 'a')),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

// Digests by sha256sum, for lengths where the padding fills a block or needs another one.
TEST(Sha256, PaddingAroundBlockEnds) {
  const std::pair<std::size_t, const char*> cases[] = {
      {55, "9f4390f8d30c2dd92ec9f095b65e2b9ae9b0a925a5258e241c9f1e910f734318"},
      {56, "b35439a4ac6f0948b6d6f9e3c6af0f5f590ce20f1bde7090ef7970686ec6738a"},
      {63, "7d3e74a05d7db15bce4ad9ec0658ea98e3f06eeecf16b4c6fff2da457ddc2f34"},
      {64, "ffe054fe7ae0cb6dc65c3af9b61d5209f439851db43d0ba5997337df154668eb"},
      {65, "635361c48bb9eab14198e76ea8ab7f1a41685d6ad62aa9146d301d4f17eb0ae0"},
      {119, "31eba51c313a5c08226adf18d4a359cfdfd8d2e816b13f4af952f7ea6584dcfb"},
      {120, "2f3d335432c70b580af0e8e1b3674a7c020d683aa5f73aaaedfdc55af904c21c"},
  };
  for (const auto& [size, digest] : cases) {
    EXPECT_EQ(Sha256Of(std::string(size, 'a')), digest) << size;
  }
}

TEST(Sha256, PiecesGiveTheSameDigest) {
  const std::string text =
      "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmn"
      "hijklmnoijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu";
  for (std::size_t cut = 0; cut <= text.size(); ++cut) {
    Sha256 hash;
    hash.Add(std::string_view(text).substr(0, cut));
    hash.Add(std::string_view(text).substr(cut));
    EXPECT_EQ(hash.Finish(), "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1")
        << cut;
  }
}

TEST(Sha256, BytesAboveAsciiAndNuls) {
  // printf '\x00\xff\x80\x00' | sha256sum
  EXPECT_EQ(Sha256Of(std::string_view("\x00\xff\x80\x00", 4)),
            "f11b18659845b5c27e6040a28586bbe79db7c24d4eda7930381151bd4602490d");
}

}  // namespace
