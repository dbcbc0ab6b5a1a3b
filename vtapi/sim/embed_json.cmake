# Writes the JSON file IN into the C++ source OUT as vtsim::defaultHostText().
file(READ ${IN} text)
string(FIND "${text}" ")VTSIMJSON\"" clash)
if(NOT clash EQUAL -1)
  message(FATAL_ERROR "${IN} contains the raw-string delimiter")
endif()
file(WRITE ${OUT} "// Generated from default_host.json; do not edit.\n"
  "namespace vtsim {\nconst char* defaultHostText() {\n"
  "    return R\"VTSIMJSON(${text})VTSIMJSON\";\n}\n}  // namespace vtsim\n")
