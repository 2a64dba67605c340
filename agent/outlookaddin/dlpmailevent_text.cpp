// The subject and the body of a mail. However short, the text goes to the agent in a temporary
// file.
#include <cstdint>
#include <string>

#include "agent/outlookaddin/dlpmailevent.h"
#include "channel/agentchannel.h"
#include "logging/vrklogger.h"
#include "platform/com/bstr.h"
#include "text/textconversion.h"

using platform::Bstr;

namespace {

// The text in UTF-8, up to its first NUL. Frees the property.
std::string TakeText(Bstr* property) {
  std::string text = WideToUtf8(platform::WideStringView(property->Get()));
  property->Put();
  return text;
}

ActionCode CheckText(const std::string& text, const char* file) {
  return GetAgentChannel()->CheckContentWithFile(text.data(),
                                                 static_cast<std::uint32_t>(text.size()), file);
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
    text = TakeText(&subject);
    g_logger.Log(kLogModule, kLogInfo, "Mail subject: [%s]", text.c_str());
  } else {
    g_logger.Log(kLogModule, kLogWarn, "Empty mail subject might cause violation log trimmed.");
  }
  return CheckText(text, channel::kSubjectFile);
}

ActionCode DlpMailEvent::CheckBody(_MailItem* item) {
  ActionCode result = channel::kActionNothingUsable;
  // A body may be large, so its text is freed before the HTML is read.
  {
    Bstr body;
    if (FAILED(item->get_Body(body.Put())) || !body) {
      g_logger.Log(kLogModule, kLogErr, "Cannot get body, and don't check body.");
      return result;
    }
    const std::string text = TakeText(&body);
    g_logger.Log(kLogModule, kLogInfo, "Body: %s", text.c_str());
    result = CheckText(text, channel::kBodyFile);
  }

  // The HTML body only serves to find a signature image. The agent never gets it.
  Bstr html;
  if (FAILED(item->get_HTMLBody(html.Put())) || !html) return result;
  const std::string imageName = GetSignatureImageName(TakeText(&html));
  if (imageName.empty()) return result;
  g_logger.Log(kLogModule, kLogInfo, "Find signature image: [%s]", imageName.c_str());
  if (!FindSignatureFilePath(imageName)) {
    g_logger.Log(kLogModule, kLogErr, "Cannot find signature filepath.");
  }
  return result;
}
