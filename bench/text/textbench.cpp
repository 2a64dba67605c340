// The two text conversions against ICU, iconv and the C++ library's own, on the texts of mails.
//
// Everybody does the whole of a conversion: asks for the length where there is a way to ask, makes
// room, converts. The names are direction/text/who; after the table each text's speed is told as
// a multiple of each peer's (medians, with --benchmark_repetitions).
#include <benchmark/benchmark.h>
#include <iconv.h>
#include <unicode/ustring.h>

#include <codecvt>
#include <cstdio>
#include <functional>
#include <locale>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "text/textconversion.h"

namespace {

// What mails are made of: plain sentences with now and then a name, a dash or a price.
constexpr std::u16string_view kMailPieces[] = {
    u"Hello Mr M\u00FCller,\r\n\r\nthank you for the quick answer. ",
    u"The draft that we talked about on Tuesday is attached; please have a look at the second page "
    u"and tell me whether the numbers are what you expected.\r\n",
    u"If nothing else comes up, I will send it to the others tomorrow morning. ",
    u"The offer was 1,250 \u20AC \u2013 without the extra hours.\r\n",
    u"> On Monday somebody wrote:\r\n> > Could you forward this to Zo\u00EB and Ren\u00E9?\r\n",
    u"<p style=\"margin:0\">Kind regards</p><div class=\"footer\"><a "
    u"href=\"https://www.example.com/"
    u"imprint?id=4711\">Imprint</a></div>\r\n",
    u"Best wishes, Bj\u00F6rn \U0001F642\r\n"};

constexpr std::u16string_view kMixedPieces[] = {
    u"\u041F\u0440\u0438\u0432\u0435\u0442, \u043A\u0430\u043A \u0434\u0435\u043B\u0430? ",
    u"\u3053\u3093\u306B\u3061\u306F\u3001\u8CC7\u6599\u3092\u9001\u308A\u307E\u3059\u3002",
    u"\U0001F600\U0001F680\U0001F44D ",
    u"\u0645\u0631\u062D\u0628\u0627 \u0628\u0643\u0645 ",
    u"Plain words in between. ",
    u"\u4F60\u597D\uFF0C\u8BF7\u67E5\u6536\u9644\u4EF6\u3002",
    u"\u039A\u03B1\u03BB\u03B7\u03BC\u03AD\u03C1\u03B1 \U0001F468\u200D\U0001F469\u200D\U0001F467 ",
    u"\u00DCber\u00E4ll fl\u00F6\u00DFe \u00E9t\u00E9 "};

// One of the pieces after the other, in an order that no branch predictor learns.
template <std::size_t Count>
std::u16string Compose(const std::u16string_view (&pieces)[Count], std::size_t units) {
  std::u16string text;
  unsigned state = 12345;
  while (text.size() < units) {
    state = state * 1103515245u + 12345u;
    text += pieces[(state >> 16) % Count];
  }
  text.resize(units);
  // A pair that was cut in two would be another text for each converter.
  if ((text.back() & 0xFC00) == 0xD800) text.back() = u'.';
  return text;
}

// Texts of one kind, gone through in turn.
struct Corpus {
  std::vector<std::u16string> wide;
  std::vector<std::string> narrow;
};

Corpus MakeCorpus(std::vector<std::u16string> texts) {
  Corpus corpus;
  for (std::u16string& text : texts) {
    corpus.narrow.push_back(WideToUtf8(text));
    corpus.wide.push_back(std::move(text));
  }
  return corpus;
}

Corpus Cuts(std::size_t units) {
  const std::u16string source = Compose(kMailPieces, 200000);
  std::vector<std::u16string> texts;
  for (std::size_t count = 0; count < 256; ++count) {
    std::u16string text = source.substr((count * 761) % 190000, units);
    for (char16_t& unit : text) {
      if ((unit & 0xF800) == 0xD800) unit = u'-';
    }
    texts.push_back(std::move(text));
  }
  return MakeCorpus(std::move(texts));
}

const Corpus& CorpusOf(const std::string& name) {
  static const std::map<std::string, Corpus> all = [] {
    std::map<std::string, Corpus> made;
    made["mail_1MB"] = MakeCorpus({Compose(kMailPieces, 1 << 20)});
    made["mixed_1MB"] = MakeCorpus({Compose(kMixedPieces, 1 << 20)});
    made["10_units"] = Cuts(10);
    made["24_units"] = Cuts(24);
    made["60_units"] = Cuts(60);
    made["2000_units"] = Cuts(2000);
    return made;
  }();
  return all.at(name);
}

std::string IcuToUtf8(const std::u16string& text) {
  UErrorCode error = U_ZERO_ERROR;
  std::int32_t length = 0;
  const auto size = static_cast<std::int32_t>(text.size());
  u_strToUTF8(nullptr, 0, &length, text.data(), size, &error);
  std::string result(static_cast<std::size_t>(length), '\0');
  error = U_ZERO_ERROR;
  u_strToUTF8(result.data(), length, nullptr, text.data(), size, &error);
  return result;
}

std::u16string IcuToUtf16(const std::string& text) {
  UErrorCode error = U_ZERO_ERROR;
  std::int32_t length = 0;
  const auto size = static_cast<std::int32_t>(text.size());
  u_strFromUTF8(nullptr, 0, &length, text.data(), size, &error);
  std::u16string result(static_cast<std::size_t>(length), u'\0');
  error = U_ZERO_ERROR;
  u_strFromUTF8(result.data(), length, nullptr, text.data(), size, &error);
  return result;
}

// iconv can't be asked for the length: room for the worst case, cut afterwards.
template <typename To, typename From>
To Iconv(iconv_t converter, const From& text, std::size_t worst) {
  using Unit = typename To::value_type;
  To result(text.size() * worst, Unit{});
  char* from = reinterpret_cast<char*>(const_cast<typename From::value_type*>(text.data()));
  char* to = reinterpret_cast<char*>(result.data());
  std::size_t left = text.size() * sizeof(typename From::value_type);
  std::size_t room = result.size() * sizeof(Unit);
  iconv(converter, nullptr, nullptr, nullptr, nullptr);
  iconv(converter, &from, &left, &to, &room);
  result.resize(result.size() - room / sizeof(Unit));
  return result;
}

std::string IconvToUtf8(const std::u16string& text) {
  static const iconv_t converter = iconv_open("UTF-8", "UTF-16LE");
  return Iconv<std::string>(converter, text, 3);
}

std::u16string IconvToUtf16(const std::string& text) {
  static const iconv_t converter = iconv_open("UTF-16LE", "UTF-8");
  return Iconv<std::u16string>(converter, text, 1);
}

using StandardConverter = std::wstring_convert<std::codecvt_utf8_utf16<char16_t>, char16_t>;

std::string StandardToUtf8(const std::u16string& text) {
  return StandardConverter().to_bytes(text);
}

std::u16string StandardToUtf16(const std::string& text) {
  return StandardConverter().from_bytes(text);
}

template <typename From, typename To>
void Register(const std::string& name, const std::vector<From>& from, const std::vector<To>& to,
              const std::function<To(const From&)>& convert) {
  benchmark::RegisterBenchmark(name.c_str(), [&from, &to, convert](benchmark::State& state) {
    std::size_t index = 0;
    std::size_t bytes = 0;
    for (auto round : state) {
      const To result = convert(from[index]);
      benchmark::DoNotOptimize(result.data());
      bytes += from[index].size() * sizeof(typename From::value_type);
      if (++index == from.size()) index = 0;
    }
    if (convert(from[0]) != to[0]) state.SkipWithError("converts wrongly");
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
  });
}

void RegisterAll() {
  using ToNarrow = std::function<std::string(const std::u16string&)>;
  using ToWide = std::function<std::u16string(const std::string&)>;
  const std::map<std::string, std::pair<ToNarrow, ToWide>> converters = {
      {"ours",
       {[](const auto& text) { return WideToUtf8(text); },
        [](const auto& text) { return Utf8ToWide(text); }}},
      {"icu", {IcuToUtf8, IcuToUtf16}},
      {"iconv", {IconvToUtf8, IconvToUtf16}},
      {"codecvt", {StandardToUtf8, StandardToUtf16}}};
  for (const char* const text :
       {"mail_1MB", "mixed_1MB", "10_units", "24_units", "60_units", "2000_units"}) {
    const Corpus& corpus = CorpusOf(text);
    for (const auto& [who, ways] : converters) {
      Register("WideToUtf8/" + std::string(text) + "/" + who, corpus.wide, corpus.narrow,
               ways.first);
    }
    for (const auto& [who, ways] : converters) {
      Register("Utf8ToWide/" + std::string(text) + "/" + who, corpus.narrow, corpus.wide,
               ways.second);
    }
  }
}

// Remembers each benchmark's time, the median where there are repetitions.
class RememberingReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.error_occurred) continue;
      const bool median = run.aggregate_name == "median";
      if (run.run_type == Run::RT_Iteration || median) {
        m_times[run.run_name.function_name] = run.GetAdjustedCPUTime();
      }
    }
  }

  void PrintRatios() const {
    for (const auto& [name, time] : m_times) {
      const std::size_t slash = name.rfind('/');
      if (name.substr(slash + 1) != "ours") continue;
      const std::string group = name.substr(0, slash + 1);
      std::printf("%-24s", group.substr(0, slash).c_str());
      for (const char* const peer : {"icu", "iconv", "codecvt"}) {
        const auto found = m_times.find(group + peer);
        if (found != m_times.end()) std::printf("  %6.2fx %s", found->second / time, peer);
      }
      std::printf("\n");
    }
  }

 private:
  std::map<std::string, double> m_times;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RegisterAll();
  RememberingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatios();
  return 0;
}
