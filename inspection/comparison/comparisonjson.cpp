// A comparison for a program to read.

#include "inspection/comparison/comparison.h"
#include "inspection/comparison/jsonwriting.h"

namespace inspection::comparison {

namespace {

void Side(Writer& writer, const char* key, const Verdict* verdict) {
  writer.Key(key);
  if (verdict == nullptr) {
    writer.Null();
    return;
  }
  writer.StartObject();
  Member(writer, "outcome", std::string_view(NameOf(verdict->outcome)));
  Member(writer, "checked", NameOf(verdict->checked));
  Member(writer, "tag", verdict->tag);
  Member(writer, "decided_by", verdict->decidedBy);
  Member(writer, "reasons", verdict->reasons);
  if (!verdict->error.empty()) Member(writer, "error", verdict->error);
  writer.EndObject();
}

void BeforeAndAfter(Writer& writer, const char* key, const Waits& before, const Waits& after) {
  writer.Key(key);
  writer.StartObject();
  Member(writer, "before", before);
  Member(writer, "after", after);
  writer.EndObject();
}

const char* NameAt(std::size_t index) {
  return index == kOutcomes ? "absent" : NameOf(static_cast<Outcome>(index));
}

}  // namespace

std::string DifferenceJson(const Difference& difference) {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  writer.StartObject();
  Member(writer, "mail", difference.mail);
  Member(writer, "occurrence", std::uint64_t{difference.occurrence});
  Member(writer, "change", std::string_view(NameOf(difference.change)));
  Side(writer, "before", difference.before);
  Side(writer, "after", difference.after);
  Member(writer, "cause", std::string_view(difference.cause));
  writer.EndObject();
  return TextOf(buffer);
}

std::string Comparison::Json() const {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  writer.StartObject();
  writer.Key("summary");
  writer.StartObject();
  Member(writer, "before", Before());
  Member(writer, "after", After());
  writer.Key("changes");
  writer.StartObject();
  for (std::size_t i = 0; i < m_changes.size(); ++i) {
    Member(writer, NameOf(static_cast<Change>(i)), m_changes[i]);
  }
  writer.EndObject();
  Member(writer, "other_cause", m_otherCause);
  Member(writer, "unknown_in_both", m_unknownInBoth);
  Member(writer, "repeated_before", m_repeatedBefore);
  Member(writer, "repeated_after", m_repeatedAfter);
  writer.Key("outcomes");
  writer.StartObject();
  for (std::size_t before = 0; before <= kOutcomes; ++before) {
    writer.Key(NameAt(before));
    writer.StartObject();
    for (std::size_t after = 0; after <= kOutcomes; ++after) {
      if (m_matrix[before][after] > 0) Member(writer, NameAt(after), m_matrix[before][after]);
    }
    writer.EndObject();
  }
  writer.EndObject();
  BeforeAndAfter(writer, "request_waits", m_requestsBefore, m_requestsAfter);
  BeforeAndAfter(writer, "mail_times", m_mailsBefore, m_mailsAfter);
  writer.EndObject();
  writer.EndObject();
  return TextOf(buffer);
}

}  // namespace inspection::comparison
