# Writes a source OUTPUT in which NAMESPACE::FUNCTION(), declared in HEADER, gives the content of
# INPUT as a std::string_view. Each line becomes a literal of its own, as compilers limit the length
# of one.
file(READ ${INPUT} content)
string(REPLACE "\n" "\n)TEXT\"\n    R\"TEXT(" content "${content}")
file(WRITE ${OUTPUT} "#include \"${HEADER}\"\n
namespace ${NAMESPACE} {\n
std::string_view ${FUNCTION}() {\n  return\n    R\"TEXT(${content})TEXT\";\n}\n
}  // namespace ${NAMESPACE}\n")
