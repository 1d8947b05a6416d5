# Fails unless the README shows the host example as it is compiled.
file(READ "${README}" readme)
file(READ "${EXAMPLE}" example)
string(FIND "${readme}" "```cpp\n${example}```" at)
if(at EQUAL -1)
  message(FATAL_ERROR "${README} does not show ${EXAMPLE} as it stands")
endif()
