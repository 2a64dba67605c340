# cmake -D OUTPUT=FILE.cpp -D FOLDER=page -P embed.cmake
#
# Puts the page together from its parts and writes it as C++. The policy in the page names the hashes
# of its style and its script, so a browser runs nothing else.

# hash_of(TEXT RESULT): TEXT's SHA-256 in base64, as a content security policy has it.
function(hash_of text result)
  string(SHA256 hex "${text}")
  set(letters "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/")
  # Three hexadecimal digits are two letters; of 64 digits one is left, with two bits of nothing.
  set(base64 "")
  foreach(at RANGE 0 60 3)
    string(SUBSTRING "${hex}" ${at} 3 digits)
    math(EXPR high "0x${digits} >> 6")
    math(EXPR low "0x${digits} & 63")
    string(SUBSTRING "${letters}" ${high} 1 first)
    string(SUBSTRING "${letters}" ${low} 1 second)
    string(APPEND base64 "${first}${second}")
  endforeach()
  string(SUBSTRING "${hex}" 63 1 digit)
  math(EXPR last "0x${digit} << 2")
  string(SUBSTRING "${letters}" ${last} 1 letter)
  set(${result} "${base64}${letter}=" PARENT_SCOPE)
endfunction()

# as_cpp(TEXT RESULT): a raw string literal for each line, since compilers limit their length.
function(as_cpp text result)
  if(text MATCHES "\\)page\"")
    message(FATAL_ERROR "The page must not contain the end of the literal that it is written in.")
  endif()
  string(REPLACE "\n" "\n)page\"\n    R\"page(" text "${text}")
  set(${result} "    R\"page(${text})page\"" PARENT_SCOPE)
endfunction()

set(script "")
foreach(part data charts list detail start)
  file(READ "${FOLDER}/${part}.js" text)
  string(APPEND script "${text}")
endforeach()
file(READ "${FOLDER}/page.css" style)
file(READ "${FOLDER}/page.html" page)
if(script MATCHES "</script|<!--" OR style MATCHES "</style")
  message(FATAL_ERROR "The script or the style would end its own element.")
endif()
hash_of("${script}" script_hash)
hash_of("${style}" style_hash)
string(REPLACE "@SCRIPT_HASH@" "${script_hash}" page "${page}")
string(REPLACE "@STYLE_HASH@" "${style_hash}" page "${page}")
string(REPLACE "@STYLE@" "${style}" page "${page}")
string(REPLACE "@SCRIPT@" "${script}" page "${page}")
string(FIND "${page}" "@DATA@" at)
if(at EQUAL -1)
  message(FATAL_ERROR "page.html has no place for the data.")
endif()
string(SUBSTRING "${page}" 0 ${at} before)
math(EXPR at "${at} + 6")
string(SUBSTRING "${page}" ${at} -1 after)
as_cpp("${before}" before)
as_cpp("${after}" after)
file(WRITE "${OUTPUT}" "// Made from inspection/report/page/ by embed.cmake.
#include \"inspection/report/pagetext.h\"

namespace inspection::report {

std::string_view PageBeforeData() {
  return
${before};
}

std::string_view PageAfterData() {
  return
${after};
}

}  // namespace inspection::report
")
