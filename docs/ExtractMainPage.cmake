# Writes the reference's main page from one section of the README, so that the page never drifts from it.
#
#   cmake -DREADME=<README.md> -DSECTION=<heading text> -DTITLE=<page title> -DINTRO=<file> -DOUTPUT=<page.md>
#         -P ExtractMainPage.cmake
#
# The page is the title, the intro paragraph from INTRO, then the README's "## <SECTION>" section (its heading
# and everything up to the next "## " heading or the end of the file). A missing section fails the build:
# renaming it in the README must not leave the reference with an empty main page.
cmake_minimum_required(VERSION 3.25)

foreach(var README SECTION TITLE INTRO OUTPUT)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "ExtractMainPage: -D${var}=... is required")
  endif()
endforeach()

file(READ "${README}" readme)
# A leading newline lets every heading be found as "\n## ", the first line included.
string(PREPEND readme "\n")

set(heading "\n## ${SECTION}\n")
string(FIND "${readme}" "${heading}" start)
if(start EQUAL -1)
  message(FATAL_ERROR "ExtractMainPage: ${README} has no section \"## ${SECTION}\"")
endif()
math(EXPR bodyStart "${start} + 1")
string(SUBSTRING "${readme}" ${bodyStart} -1 section)

# The section ends at the next second-level heading ("## ", not "### ").
string(LENGTH "${heading}" headingLength)
math(EXPR afterHeading "${headingLength} - 1")
string(SUBSTRING "${section}" ${afterHeading} -1 rest)
string(FIND "${rest}" "\n## " next)
if(NOT next EQUAL -1)
  math(EXPR sectionLength "${afterHeading} + ${next} + 1")
  string(SUBSTRING "${section}" 0 ${sectionLength} section)
endif()
string(STRIP "${section}" section)

file(READ "${INTRO}" intro)
string(STRIP "${intro}" intro)

set(page "# ${TITLE}\n\n${intro}\n\n${section}\n")
# Rewritten only when it changes, so that an edit elsewhere in the README does not rebuild the reference.
if(EXISTS "${OUTPUT}")
  file(READ "${OUTPUT}" old)
  if(old STREQUAL page)
    return()
  endif()
endif()
file(WRITE "${OUTPUT}" "${page}")
