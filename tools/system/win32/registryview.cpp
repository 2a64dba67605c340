#include "tools/system/registryview.h"

#include <windows.h>

#include <cstring>

#include "tools/system/win32/utf8.h"

namespace tools::system {

namespace {

constexpr DWORD kLongestName = 16'384;
constexpr DWORD kMostValues = 2'000;

std::wstring_view WithoutNul(const std::vector<unsigned char>& data, DWORD size) {
  std::wstring_view text(reinterpret_cast<const wchar_t*>(data.data()), size / sizeof(wchar_t));
  return text.substr(0, text.find(L'\0'));
}

std::wstring Expanded(std::wstring_view text) {
  const std::wstring source(text);
  std::wstring result(ExpandEnvironmentStringsW(source.c_str(), nullptr, 0), L'\0');
  const DWORD size =
      ExpandEnvironmentStringsW(source.c_str(), result.data(), static_cast<DWORD>(result.size()));
  result.resize(size == 0 ? 0 : size - 1);
  return result;
}

RegistryValue ValueOf(std::wstring_view name, DWORD type, const std::vector<unsigned char>& data,
                      DWORD size) {
  RegistryValue value;
  value.name = win32::ToUtf8(name);
  if (type == REG_SZ || type == REG_EXPAND_SZ) {
    value.kind = RegistryValue::Kind::kText;
    const std::wstring_view text = WithoutNul(data, size);
    value.text = win32::ToUtf8(type == REG_SZ ? std::wstring(text) : Expanded(text));
  } else if (type == REG_DWORD && size == sizeof(value.number)) {
    value.kind = RegistryValue::Kind::kNumber;
    std::memcpy(&value.number, data.data(), sizeof(value.number));
  } else {
    value.bytes.assign(reinterpret_cast<const char*>(data.data()), size);
  }
  return value;
}

void ReadValues(HKEY key, std::vector<RegistryValue>* values) {
  std::wstring name(kLongestName, L'\0');
  DWORD longest = 0;
  RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                   &longest, nullptr, nullptr);
  std::vector<unsigned char> data(longest + sizeof(wchar_t));
  for (DWORD i = 0; i < kMostValues; ++i) {
    DWORD nameSize = kLongestName;
    auto size = static_cast<DWORD>(data.size());
    DWORD type = 0;
    const LSTATUS status =
        RegEnumValueW(key, i, name.data(), &nameSize, nullptr, &type, data.data(), &size);
    if (status == ERROR_MORE_DATA) continue;  // it grew meanwhile
    if (status != ERROR_SUCCESS) return;
    values->push_back(ValueOf(std::wstring_view(name).substr(0, nameSize), type, data, size));
  }
}

}  // namespace

RegistryKeyContent ReadRegistryKey(Hive hive, int view, const std::string& path) {
  RegistryKeyContent content;
  HKEY key = nullptr;
  const LSTATUS status = RegOpenKeyExW(
      hive == Hive::kMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER, win32::ToWide(path).c_str(),
      0, KEY_QUERY_VALUE | (view == 64 ? KEY_WOW64_64KEY : KEY_WOW64_32KEY), &key);
  if (status != ERROR_SUCCESS) {
    content.look = status == ERROR_ACCESS_DENIED ? RegistryKeyContent::Look::kDenied
                                                 : RegistryKeyContent::Look::kMissing;
    return content;
  }
  content.look = RegistryKeyContent::Look::kFound;
  ReadValues(key, &content.values);
  RegCloseKey(key);
  return content;
}

}  // namespace tools::system
