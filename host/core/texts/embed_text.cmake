# Writes a source with the content of INPUT behind host/core/texts/english_texts.h. Each line becomes a literal
# of its own, as compilers limit the length of one.
file(READ ${INPUT} content)
string(REPLACE "\n" "\n)TEXT\"\n    R\"TEXT(" content "${content}")
file(WRITE ${OUTPUT} "#include \"host/core/texts/english_texts.h\"\n
namespace ostria::host {\n
std::string_view englishTexts() {\n  return\n    R\"TEXT(${content})TEXT\";\n}\n
}  // namespace ostria::host\n")
