# Turns the files of the report page into one C++ source, so that the library carries its page and needs no files.
#   cmake -D PAGE=<folder of the page> -D SCRIPTS=<script files, in order, separated by |> -D OUT=<the source> -P EmbedPage.cmake
# The texts go in as raw string literals, byte for byte; a text that holds the literals' delimiter is refused.
cmake_minimum_required(VERSION 3.25)

set(delimiter "page")

# piece(<variable> <text>): one constant of the source.
function(piece variable text)
  string(FIND "${text}" ")${delimiter}\"" clash)
  if(NOT clash EQUAL -1)
    message(FATAL_ERROR "the text of ${variable} contains )${delimiter}\", which would end its literal")
  endif()
  set(source "${source}constexpr std::string_view ${variable} = R\"${delimiter}(${text})${delimiter}\";\n\n" PARENT_SCOPE)
endfunction()

file(READ "${PAGE}/PageHead.html" head)
file(READ "${PAGE}/ReportPage.css" style)
file(READ "${PAGE}/ContentOpening.html" contentOpening)
file(READ "${PAGE}/DefinitionsOpening.html" definitionsOpening)
file(READ "${PAGE}/DefinitionsClosing.html" definitionsClosing)
file(READ "${PAGE}/LegendAndEnd.html" legendAndEnd)

set(script "")
string(REPLACE "|" ";" scripts "${SCRIPTS}")
foreach(name IN LISTS scripts)
  file(READ "${PAGE}/script/${name}" text)
  string(APPEND script "${text}")
endforeach()
# "</" would end the script's element, in HTML with a name after it, in SGML with any letter.
if(script MATCHES "</" OR script MATCHES "<!--")
  message(FATAL_ERROR "the page's script must contain neither \"</\" nor \"<!--\"")
endif()

string(REPLACE "@STYLE@" "${style}" head "${head}")
string(REPLACE "@SCRIPT@" "${script}" head "${head}")

set(source "// Made by EmbedPage.cmake from the files of the report page; change those.\n")
string(APPEND source "#include \"html/PageTemplate.h\"\n\n")
string(APPEND source "// The head is longer than what every compiler has to take, and both of ours take it.\n")
string(APPEND source "#pragma GCC diagnostic ignored \"-Woverlength-strings\"\n\n")
string(APPEND source "namespace quillon::nimbo::html {\nnamespace {\n\n")
piece(kPageHead "${head}")
piece(kContentOpening "${contentOpening}")
piece(kDefinitionsOpening "${definitionsOpening}")
piece(kDefinitionsClosing "${definitionsClosing}")
piece(kLegendAndEnd "${legendAndEnd}")
string(APPEND source "}  // namespace\n\n"
  "std::string_view pageHead() { return kPageHead; }\n"
  "std::string_view contentOpening() { return kContentOpening; }\n"
  "std::string_view definitionsOpening() { return kDefinitionsOpening; }\n"
  "std::string_view dummyDefinitionHead() { return \"'Ddummy': \\\"\"; }\n"
  "std::string_view definitionsClosing() { return kDefinitionsClosing; }\n"
  "std::string_view legendAndEnd() { return kLegendAndEnd; }\n\n"
  "}  // namespace quillon::nimbo::html\n")
file(WRITE "${OUT}" "${source}")
