#include "simulation/mail/htmltext.h"

#include <libxml/HTMLparser.h>

#include <array>
#include <memory>
#include <string_view>

namespace simulation::mail {

namespace {

// Elements that get lines of their own.
constexpr std::array<std::string_view, 20> kBlocks = {
    "address", "blockquote", "center", "dd", "div", "dl", "dt", "form", "h1", "h2",
    "h3",      "h4",         "h5",     "h6", "li",  "ol", "p",  "pre",  "tr", "ul"};

constexpr std::array<std::string_view, 4> kUnseen = {"head", "script", "style", "title"};

template <std::size_t Count>
bool IsOneOf(std::string_view name, const std::array<std::string_view, Count>& names) {
  for (const std::string_view candidate : names) {
    if (name == candidate) return true;
  }
  return false;
}

void EndLine(std::string& text) {
  while (!text.empty() && text.back() == ' ') text.pop_back();
  if (!text.empty() && text.back() != '\n') text += '\n';
}

void AppendFolded(std::string_view piece, std::string& text) {
  for (const char c : piece) {
    if (c != ' ' && c != '\t' && c != '\r' && c != '\n') {
      text += c;
    } else if (!text.empty() && text.back() != ' ' && text.back() != '\n') {
      text += ' ';
    }
  }
}

void AppendNodes(const xmlNode* node, std::string& text) {
  for (; node != nullptr; node = node->next) {
    if (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE) {
      if (node->content != nullptr) {
        AppendFolded(reinterpret_cast<const char*>(node->content), text);
      }
      continue;
    }
    if (node->type != XML_ELEMENT_NODE) continue;
    const std::string_view name = reinterpret_cast<const char*>(node->name);
    if (IsOneOf(name, kUnseen)) continue;
    const bool block = IsOneOf(name, kBlocks);
    if (block) EndLine(text);
    if (name == "br") {
      while (!text.empty() && text.back() == ' ') text.pop_back();
      text += '\n';
    }
    if (name == "td" || name == "th") AppendFolded(" ", text);
    AppendNodes(node->children, text);
    if (block) EndLine(text);
  }
}

}  // namespace

std::string TextOfHtml(const std::string& html) {
  struct FreeDocument {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
  };
  const std::unique_ptr<xmlDoc, FreeDocument> document(
      htmlReadMemory(html.data(), static_cast<int>(html.size()), nullptr, "UTF-8",
                     HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING |
                         HTML_PARSE_NONET | HTML_PARSE_COMPACT));
  std::string text;
  if (document) AppendNodes(xmlDocGetRootElement(document.get()), text);
  EndLine(text);
  return text;
}

}  // namespace simulation::mail
