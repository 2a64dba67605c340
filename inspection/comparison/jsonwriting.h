// Short words for writing JSON, for the sources of this folder.
#pragma once

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

#include "inspection/comparison/recordedmail.h"
#include "inspection/comparison/waits.h"

namespace inspection::comparison {

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

// A time as JSON has it: milliseconds with one decimal.
struct Milliseconds {
  explicit Milliseconds(Tenths time) : tenths(time) {}
  Tenths tenths;
};

inline void Value(Writer& writer, std::string_view text) {
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}
inline void Value(Writer& writer, std::int64_t number) {
  writer.Int64(number);
}
inline void Value(Writer& writer, std::uint64_t number) {
  writer.Uint64(number);
}
inline void Value(Writer& writer, Milliseconds time) {
  writer.Double(static_cast<double>(time.tenths) / 10);
}

template <typename Type>
void Member(Writer& writer, std::string_view key, const Type& value) {
  writer.Key(key.data(), static_cast<rapidjson::SizeType>(key.size()));
  Value(writer, value);
}

// {"count", "p50_ms", "p95_ms", "p99_ms", "max_ms"}; the times are left out when there are none.
inline void Value(Writer& writer, const Waits& waits) {
  writer.StartObject();
  Member(writer, "count", waits.Count());
  if (waits.Count() > 0) {
    Member(writer, "p50_ms", Milliseconds(waits.Percentile(50)));
    Member(writer, "p95_ms", Milliseconds(waits.Percentile(95)));
    Member(writer, "p99_ms", Milliseconds(waits.Percentile(99)));
    Member(writer, "max_ms", Milliseconds(waits.Percentile(100)));
  }
  writer.EndObject();
}

inline std::string TextOf(const rapidjson::StringBuffer& buffer) {
  return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace inspection::comparison
