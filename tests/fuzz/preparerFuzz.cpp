/* Sources with embedded SQL: prepared, or refused at a place of theirs. */
#include "fuzzTarget.h"
#include "preparer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string source(reinterpret_cast<const char*>(data), size);
    std::vector<kelprep::SourceError> errors;
    const kelprep::PreparedSource prepared = kelprep::prepareSource(source, "source.esql", errors);
    const auto lines = static_cast<size_t>(std::count(source.begin(), source.end(), '\n'));
    for (const kelprep::SourceError& error : errors) {
        fuzz::demand(error.place().line >= 1 && error.place().line <= lines + 1, "an error is in the source",
                     error.what());
        fuzz::demand(error.place().column >= 1 && error.place().column <= size + 1, "an error is in its line",
                     error.what());
    }
    if (!errors.empty()) return 0;
    // Whatever stands in front, the lines of the source keep their numbers.
    const std::string_view code = prepared.code;
    const size_t begin = code.find("#line 1 ");
    fuzz::demand(begin != std::string_view::npos, "debuggers are led to the source", code);
    fuzz::demand(
        static_cast<size_t>(std::count(code.begin() + static_cast<ptrdiff_t>(begin), code.end(), '\n')) == lines + 1,
        "lines keep their numbers", code);
    const std::string text = kelhost::writeBindFile(prepared.bindFile);
    kelhost::BindFile read;
    std::string why;
    if (prepared.bindFile.sections.empty() || text.size() > kelhost::mostBindFileBytes) return 0;
    fuzz::demand(kelhost::readBindFile(text, read, why), "the bind file can be read", why + "\n" + text);
    fuzz::demand(kelhost::writeBindFile(read) == text, "the bind file is read as it was written", text);
    return 0;
}
