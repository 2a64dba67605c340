#include "simulation/mail/mailparts.h"

#include <fmt/format.h>
#include <gmime/gmime.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "simulation/mail/encodedwords.h"
#include "simulation/mail/posix/unref.h"

namespace simulation::mail {

namespace {

struct FreeFormatOptions {
  void operator()(GMimeFormatOptions* options) const { g_mime_format_options_free(options); }
};
struct Free {
  void operator()(void* memory) const { g_free(memory); }
};

struct CloseConverter {
  void operator()(void* converter) const { g_mime_iconv_close(static_cast<iconv_t>(converter)); }
};

// GMime opens a converter for each text. The C library loads a shared library with the first one
// for a character set and unloads it after the last, which takes longer than most texts, so one of
// each stays open. A character set that doesn't exist isn't remembered, so mails can't fill the
// memory.
void KeepConverter(const char* charset) {
  static std::map<std::string, std::unique_ptr<void, CloseConverter>> kept;
  if (charset == nullptr || kept.contains(charset)) return;
  const iconv_t converter = g_mime_iconv_open("UTF-8", charset);
  if (converter != reinterpret_cast<iconv_t>(-1)) kept.emplace(charset, converter);
}

std::string BytesOf(GMimeStream* stream) {
  const GByteArray* const bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream));
  return {reinterpret_cast<const char*>(bytes->data), bytes->len};
}

std::string DecodedContent(GMimePart* part) {
  GMimeDataWrapper* const content = g_mime_part_get_content(part);
  if (content == nullptr) return {};
  const std::unique_ptr<GMimeStream, Unref> memory(g_mime_stream_mem_new());
  g_mime_data_wrapper_write_to_stream(content, memory.get());
  return BytesOf(memory.get());
}

std::string MessageBytes(GMimeMessage* message, GMimeNewLineFormat lineEnds) {
  const std::unique_ptr<GMimeFormatOptions, FreeFormatOptions> options(g_mime_format_options_new());
  g_mime_format_options_set_newline_format(options.get(), lineEnds);
  const std::unique_ptr<GMimeStream, Unref> memory(g_mime_stream_mem_new());
  g_mime_object_write_to_stream(GMIME_OBJECT(message), options.get(), memory.get());
  return BytesOf(memory.get());
}

// The name that Outlook makes up for an attachment without one: a number, and an extension by type.
std::string MadeUpName(GMimeObject* object, std::size_t number) {
  GMimeContentType* const type = g_mime_object_get_content_type(object);
  std::string_view ending = "dat";
  if (g_mime_content_type_is_type(type, "text", "plain")) ending = "txt";
  if (g_mime_content_type_is_type(type, "text", "html")) ending = "htm";
  if (g_mime_content_type_is_type(type, "text", "calendar")) ending = "ics";
  if (g_mime_content_type_is_type(type, "image", "*")) {
    ending = g_mime_content_type_get_media_subtype(type);
  }
  return fmt::format("ATT{:05}.{}", number, ending);
}

// The decoded file name in a part's headers; empty if there is none.
std::string FileNameOf(GMimePart* part) {
  GMimeHeader* const header = g_mime_header_list_get_header(
      g_mime_object_get_header_list(GMIME_OBJECT(part)), "Content-Disposition");
  const char* const raw = header != nullptr ? g_mime_header_get_raw_value(header) : nullptr;
  if (raw != nullptr && std::string_view(raw).find("=?") != std::string_view::npos) {
    const std::unique_ptr<GMimeContentDisposition, Unref> disposition(
        g_mime_content_disposition_parse(nullptr, WithQuotedWords(raw).c_str()));
    const char* const name =
        g_mime_content_disposition_get_parameter(disposition.get(), "filename");
    if (name != nullptr && *name != '\0') return ValidUtf8(name);
  }
  return ValidUtf8(g_mime_part_get_filename(part));
}

bool IsAttachment(GMimeObject* object) {
  GMimeContentDisposition* const disposition = g_mime_object_get_content_disposition(object);
  return disposition != nullptr && g_mime_content_disposition_is_attachment(disposition) != 0;
}

class PartSorter {
 public:
  PartSorter(MailModel& mail, LineEnds lineEnds)
      : m_mail(mail),
        m_lineEnds(lineEnds == LineEnds::kCrLf ? GMIME_NEWLINE_FORMAT_DOS
                                               : GMIME_NEWLINE_FORMAT_UNIX) {}

  void Sort(GMimeObject* object) {
    if (GMIME_IS_MULTIPART(object)) {
      GMimeMultipart* const multipart = GMIME_MULTIPART(object);
      const int count = g_mime_multipart_get_count(multipart);
      for (int i = 0; i < count; ++i) Sort(g_mime_multipart_get_part(multipart, i));
    } else if (GMIME_IS_MESSAGE_PART(object)) {
      AddEmbedded(GMIME_MESSAGE_PART(object));
    } else if (GMIME_IS_PART(object)) {
      AddPart(GMIME_PART(object));
    }
  }

 private:
  void AddPart(GMimePart* part) {
    const std::string fileName = FileNameOf(part);
    if (GMIME_IS_TEXT_PART(part) && fileName.empty() && !IsAttachment(GMIME_OBJECT(part)) &&
        TakeAsBody(GMIME_TEXT_PART(part))) {
      return;
    }
    MailAttachment attachment;
    attachment.fileName = !fileName.empty()
                              ? fileName
                              : MadeUpName(GMIME_OBJECT(part), m_mail.attachments.size() + 1);
    attachment.content = DecodedContent(part);
    if (const char* const id = g_mime_object_get_content_id(GMIME_OBJECT(part))) {
      attachment.contentId = ValidUtf8(id);
    }
    m_mail.attachments.push_back(std::move(attachment));
  }

  bool TakeAsBody(GMimeTextPart* part) {
    GMimeContentType* const type = g_mime_object_get_content_type(GMIME_OBJECT(part));
    const bool html = g_mime_content_type_is_type(type, "text", "html") != 0;
    if (!html && g_mime_content_type_is_type(type, "text", "plain") == 0) return false;
    KeepConverter(g_mime_text_part_get_charset(part));
    const std::unique_ptr<char, Free> text(g_mime_text_part_get_text(part));
    std::optional<std::string>& place = html ? m_mail.htmlBody : m_mail.body;
    if (!place) {
      place = ValidUtf8(text.get());
      return true;
    }
    if (html) return false;
    *place += "\n" + ValidUtf8(text.get());
    return true;
  }

  void AddEmbedded(GMimeMessagePart* part) {
    GMimeMessage* const message = g_mime_message_part_get_message(part);
    MailAttachment attachment;
    attachment.type = 5;
    const char* const fileName =
        g_mime_object_get_content_disposition_parameter(GMIME_OBJECT(part), "filename");
    const char* const subject = message ? g_mime_message_get_subject(message) : nullptr;
    if (fileName != nullptr && *fileName != '\0') {
      attachment.fileName = ValidUtf8(fileName);
    } else if (subject != nullptr && *subject != '\0') {
      attachment.fileName = ValidUtf8(subject) + ".eml";
    } else {
      attachment.fileName = fmt::format("ATT{:05}.eml", m_mail.attachments.size() + 1);
    }
    if (message != nullptr) attachment.content = MessageBytes(message, m_lineEnds);
    m_mail.attachments.push_back(std::move(attachment));
  }

  MailModel& m_mail;
  GMimeNewLineFormat m_lineEnds;
};

}  // namespace

void SortParts(GMimeObject* root, LineEnds lineEnds, MailModel& mail) {
  PartSorter(mail, lineEnds).Sort(root);
}

std::string ValidUtf8(const char* text) {
  if (text == nullptr) return {};
  if (g_utf8_validate(text, -1, nullptr) != 0) return text;
  const std::unique_ptr<char, Free> valid(g_utf8_make_valid(text, -1));
  return valid.get();
}

}  // namespace simulation::mail
