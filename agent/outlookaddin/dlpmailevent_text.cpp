// Subject and body of a mail. The text goes to the agent in files of fixed names, whatever its
// length.
#include <cstdint>
#include <string>

#include "agent/outlookaddin/dlpmailevent.h"
#include "channel/agentchannel.h"
#include "logging/vrklogger.h"
#include "platform/com/bstr.h"
#include "text/textconversion.h"

using platform::Bstr;

namespace {

// The text of a property in UTF-8, up to its first NUL.
std::string TextOf(const Bstr& property) {
  return WideToUtf8(platform::WideStringView(property.Get()));
}

ActionCode CheckText(const std::string& text, const char* itemName) {
  return GetAgentChannel()->CheckContentWithFile(text.data(),
                                                 static_cast<std::uint32_t>(text.size()), itemName);
}

}  // namespace

ActionCode DlpMailEvent::CheckSubject(_MailItem* item) {
  Bstr subject;
  if (FAILED(item->get_Subject(subject.Put()))) {
    g_logger.Log(kLogModule, kLogErr, "Cannot get subject, and don't check subject.");
    return channel::kActionNothingUsable;
  }
  std::string text;
  if (subject) {
    text = TextOf(subject);
    g_logger.Log(kLogModule, kLogInfo, "Mail subject: [%s]", text.c_str());
  } else {
    g_logger.Log(kLogModule, kLogWarn, "Empty mail subject might cause violation log trimmed.");
  }
  return CheckText(text, channel::kSubjectFile);
}

ActionCode DlpMailEvent::CheckBody(_MailItem* item) {
  Bstr body;
  if (FAILED(item->get_Body(body.Put())) || !body) {
    g_logger.Log(kLogModule, kLogErr, "Cannot get body, and don't check body.");
    return channel::kActionNothingUsable;
  }
  const std::string text = TextOf(body);
  g_logger.Log(kLogModule, kLogInfo, "Body: %s", text.c_str());
  const ActionCode result = CheckText(text, channel::kBodyFile);

  // The HTML form only tells of a signature image; it never goes to the agent itself.
  Bstr html;
  if (FAILED(item->get_HTMLBody(html.Put())) || !html) return result;
  const std::string imageName = GetSignatureImageName(TextOf(html));
  if (imageName.empty()) return result;
  g_logger.Log(kLogModule, kLogInfo, "Find signature image: [%s]", imageName.c_str());
  if (!FindSignatureFilePath(imageName)) {
    g_logger.Log(kLogModule, kLogErr, "Cannot find signature filepath.");
  }
  return result;
}
