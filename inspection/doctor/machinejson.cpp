#include <nlohmann/json.hpp>

#include "inspection/doctor/machine.h"

namespace inspection::doctor {

namespace {

using Json = nlohmann::ordered_json;

// Each description lists its fields once, in a Visit function, for writing and for reading.
class Writer {
 public:
  template <typename Value>
  void operator()(const char* name, const Value& value) {
    m_object[name] = Of(value);
  }
  Json Take() { return std::move(m_object); }

  template <typename Value>
  static Json Of(const Value& value);
  template <typename Value>
  static Json Of(const std::optional<Value>& value) {
    return value ? Json(*value) : Json(nullptr);
  }
  template <typename Value>
  static Json Of(const std::vector<Value>& values) {
    Json array = Json::array();
    for (const Value& value : values) array.push_back(Of(value));
    return array;
  }

 private:
  Json m_object = Json::object();
};

class Reader {
 public:
  // Throws Json::type_error for anything but an object.
  explicit Reader(const Json& object) : m_object(object.get_ref<const Json::object_t&>()) {}

  template <typename Value>
  void operator()(const char* name, Value& value) {
    const auto found = m_object.find(name);
    if (found != m_object.end()) Into(found->second, value);
  }

  template <typename Value>
  static void Into(const Json& json, Value& value);
  template <typename Value>
  static void Into(const Json& json, std::optional<Value>& value) {
    if (json.is_null()) {
      value.reset();
    } else {
      value = json.get<Value>();
    }
  }
  template <typename Value>
  static void Into(const Json& json, std::vector<Value>& values) {
    values.clear();
    for (const Json& one : json.get_ref<const Json::array_t&>()) Into(one, values.emplace_back());
  }

 private:
  const Json::object_t& m_object;
};

template <typename Fields>
void Visit(Fields& fields, Outlook& part) {
  fields("kind", part.kind);
  fields("version", part.version);
  fields("bits", part.bits);
  fields("path", part.path);
  fields("file_exists", part.isFileThere);
}

template <typename Fields>
void Visit(Fields& fields, Registration& part) {
  fields("hive", part.hive);
  fields("view", part.view);
  fields("library", part.library);
  fields("threading_model", part.threadingModel);
  fields("named", part.isNamed);
}

template <typename Fields>
void Visit(Fields& fields, Library& part) {
  fields("path", part.path);
  fields("exists", part.isThere);
  fields("problem", part.problem);
  fields("bits", part.bits);
  fields("version", part.version);
  fields("signature", part.signature);
  fields("publisher", part.publisher);
  fields("publisher_trusted", part.isTrusted);
  fields("missing", part.missing);
}

template <typename Fields>
void Visit(Fields& fields, LoadKey& part) {
  fields("hive", part.hive);
  fields("view", part.view);
  fields("load_behavior", part.behavior);
}

template <typename Fields>
void Visit(Fields& fields, ResiliencyEntry& part) {
  fields("list", part.list);
  fields("key", part.key);
}

template <typename Fields>
void Visit(Fields& fields, Policies& part) {
  fields("managed", part.managed);
  fields("list_only", part.listOnly);
  fields("require_signed", part.requireSigned);
  fields("disable_all", part.disableAll);
}

template <typename Fields>
void Visit(Fields& fields, Connect& part) {
  fields("time", part.time);
  fields("ms", part.milliseconds);
}

template <typename Fields>
void Visit(Fields& fields, RunningOutlook& part) {
  fields("process", part.processId);
  fields("problem", part.problem);
  fields("loaded_library", part.loadedLibrary);
}

template <typename Fields>
void Visit(Fields& fields, SettingsFile& part) {
  fields("bits", part.bits);
  fields("path", part.path);
  fields("exists", part.isThere);
  fields("problem", part.problem);
  fields("remarks", part.remarks);
  fields("values_checked", part.areValuesChecked);
}

template <typename Fields>
void Visit(Fields& fields, LogFolder& part) {
  fields("bits", part.bits);
  fields("path", part.path);
  fields("exists", part.isThere);
  fields("writable", part.isWritable);
  fields("free_bytes", part.freeBytes);
}

template <typename Fields>
void Visit(Fields& fields, Agent& part) {
  fields("exists", part.isThere);
  fields("problem", part.problem);
  fields("faults", part.faults);
  fields("access", part.access);
  fields("request", part.request);
  fields("answer", part.answer);
  fields("ms", part.milliseconds);
}

template <typename Fields>
void Visit(Fields& fields, TemporaryFolder& part) {
  fields("path", part.path);
  fields("exists", part.isThere);
  fields("writable", part.isWritable);
  fields("leftovers", part.leftovers);
  fields("free_bytes", part.freeBytes);
}

template <typename Fields>
void Visit(Fields& fields, SignatureFolder& part) {
  fields("path", part.path);
  fields("exists", part.isThere);
  fields("problem", part.problem);
}

template <typename Fields>
void Visit(Fields& fields, Machine& part) {
  fields("time", part.time);
  fields("computer", part.computer);
  fields("system", part.system);
  fields("tool", part.tool);
  fields("system_bits", part.systemBits);
  fields("not_looked_at", part.notLooked);
  fields("outlooks", part.outlooks);
  fields("running", part.running);
  fields("registrations", part.registrations);
  fields("libraries", part.libraries);
  fields("load_keys", part.loadKeys);
  fields("resiliency", part.resiliency);
  fields("policies", part.policies);
  fields("connects", part.connects);
  fields("settings", part.settings);
  fields("loggers", part.loggers);
  fields("log_folders", part.logFolders);
  fields("agent", part.agent);
  fields("temporary", part.temporary);
  fields("signatures", part.signatures);
}

template <typename Value>
concept Part = requires(Writer& writer, Value& value) {
  Visit(writer, value);
};

template <typename Value>
Json Writer::Of(const Value& value) {
  if constexpr (Part<Value>) {
    Writer writer;
    Visit(writer, const_cast<Value&>(value));  // a Writer changes nothing
    return writer.Take();
  } else {
    return Json(value);
  }
}

template <typename Value>
void Reader::Into(const Json& json, Value& value) {
  if constexpr (Part<Value>) {
    Reader reader(json);
    Visit(reader, value);
  } else {
    value = json.get<Value>();
  }
}

}  // namespace

std::string MachineJson(const Machine& machine) {
  return Writer::Of(machine).dump(1, ' ', false, Json::error_handler_t::replace) + "\n";
}

bool ReadMachine(const std::string& json, Machine* machine, std::string* error) {
  try {
    const Json parsed = Json::parse(json);
    if (!parsed.is_object() || !parsed.contains("system_bits")) {
      *error = "this is no description of a PC";
      return false;
    }
    Reader::Into(parsed, *machine);
    return true;
  } catch (const Json::exception& wrong) {
    *error = wrong.what();
    return false;
  }
}

}  // namespace inspection::doctor
