# Fails unless the README shows the host example as it is compiled.
file(READ "${README}" readme)
file(READ "${EXAMPLE}" example)
get_filename_component(language ${EXAMPLE} LAST_EXT)
string(SUBSTRING ${language} 1 -1 language)
string(FIND "${readme}" "```${language}\n${example}```" at)
if(at EQUAL -1)
  message(FATAL_ERROR "${README} does not show ${EXAMPLE} as it stands")
endif()
