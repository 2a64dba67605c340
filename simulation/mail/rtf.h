// Rich text as Outlook keeps it in a .msg: compressed, and often with the mail's HTML inside.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace simulation::mail {

// Decompresses the value of PR_RTF_COMPRESSED. Absent if the value doesn't have one of the two
// known headers. A value that ends early gives the text up to there. The text is at most nine times
// as long as the value.
std::optional<std::string> DecompressRtf(std::string_view compressed);

// The HTML that a rich text was made from, as UTF-8 with CR LF line ends. Absent if it wasn't made
// from HTML.
std::optional<std::string> HtmlInRtf(std::string_view rtf);

}  // namespace simulation::mail
