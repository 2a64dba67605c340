#include "simulation/mail/codepage.h"

#include <glib.h>
#include <utf8cpp/utf8.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "platform/codepages.h"

namespace simulation::mail {

namespace {

// iconv knows most code pages as "CP<number>"; these it knows by another name.
std::string CharsetOf(std::uint32_t codePage) {
  switch (codePage) {
    case 1200:
      return "UTF-16LE";
    case 1201:
      return "UTF-16BE";
    case 20127:
      return "US-ASCII";
    case 20866:
      return "KOI8-R";
    case 20932:
    case 51932:
      return "EUC-JP";
    case 20936:
    case 51936:
      return "GB2312";
    case 21866:
      return "KOI8-U";
    case 38598:
      return "ISO-8859-8";
    case 50220:
    case 50221:
    case 50222:
      return "ISO-2022-JP";
    case 50225:
      return "ISO-2022-KR";
    case 51949:
      return "EUC-KR";
    case 52936:
      return "HZ";
    case 54936:
      return "GB18030";
    case 65000:
      return "UTF-7";
    default:
      break;
  }
  // ISO 8859-1 to -15.
  if (codePage > 28590 && codePage < 28606) return "ISO-8859-" + std::to_string(codePage - 28590);
  return "CP" + std::to_string(codePage);
}

struct CloseConverter {
  void operator()(void* converter) const { g_iconv_close(static_cast<GIConv>(converter)); }
};

std::unique_ptr<void, CloseConverter> OpenConverter(std::uint32_t codePage) {
  const auto converter = g_iconv_open("UTF-8", CharsetOf(codePage).c_str());
  // The library's error value is (GIConv)-1.
  if (converter == reinterpret_cast<GIConv>(-1)) return nullptr;
  return std::unique_ptr<void, CloseConverter>(converter);
}

}  // namespace

std::string CodePageToUtf8(std::uint32_t codePage, std::string_view text) {
  // iconv takes numbers beyond U+10FFFF for characters.
  if (codePage == platform::kCodePageUtf8) return utf8::replace_invalid(std::string(text));
  auto converter = OpenConverter(codePage);
  if (!converter) converter = OpenConverter(kDefaultCodePage);
  std::string result;
  gchar piece[4096];
  auto* in = const_cast<gchar*>(text.data());
  gsize inLeft = text.size();
  while (inLeft != 0) {
    gchar* out = piece;
    gsize outLeft = sizeof(piece);
    errno = 0;
    const gsize converted =
        g_iconv(static_cast<GIConv>(converter.get()), &in, &inLeft, &out, &outLeft);
    const int error = errno;
    result.append(piece, sizeof(piece) - outLeft);
    if (converted != static_cast<gsize>(-1) || error == E2BIG) continue;
    result += "\xEF\xBF\xBD";
    if (error != EILSEQ) break;  // the text ends inside a character
    const std::size_t skipped = std::min<std::size_t>(codePage == 1200 ? 2 : 1, inLeft);
    in += skipped;
    inLeft -= skipped;
  }
  // The last letter of Hebrew or Vietnamese is kept back, since a mark could follow.
  gchar* out = piece;
  gsize outLeft = sizeof(piece);
  g_iconv(static_cast<GIConv>(converter.get()), nullptr, nullptr, &out, &outLeft);
  return result.append(piece, sizeof(piece) - outLeft);
}

}  // namespace simulation::mail
