/* Bind files: refused, or exactly what the writer would write; and whatever the writer writes is read. */
#include <array>

#include "bindFile.h"
#include "fuzzTarget.h"

namespace {

void read(const std::string& text) {
    kelhost::BindFile file;
    std::string why;
    const bool isRead = kelhost::readBindFile(text, file, why);
    fuzz::demand(isRead == why.empty(), "a refusal says why", text);
    if (!isRead) return;
    fuzz::demand(!file.sections.empty() && file.sections.size() <= kelhost::mostBindSections, "sections are bounded");
    fuzz::demand(kelhost::isPackageName(file.collection) && kelhost::isPackageName(file.package), "names are names");
    kelhost::BindFile again;
    const std::string written = kelhost::writeBindFile(file);
    fuzz::demand(kelhost::readBindFile(written, again, why), "what was read can be written and read", why);
    fuzz::demand(kelhost::writeBindFile(again) == written, "a bind file has one text", written);
}

/* A package with any sections. */
kelhost::BindFile draw(fuzz::Bytes bytes) {
    kelhost::BindFile file = {"C", "P", {}};
    const auto takeVariables = [&](std::vector<kelhost::BindVariable>& variables) {
        for (int i = bytes.below(4); i > 0; --i)
            variables.push_back(
                {static_cast<kelhost::HostType>(bytes.below(3)), bytes.take<uint32_t>(), bytes.isOdd()});
    };
    for (int i = 1 + bytes.below(4); i > 0; --i) {
        kelhost::BindSection& section = file.sections.emplace_back();
        section.kind = static_cast<kelhost::SectionKind>(bytes.below(3));
        if (section.kind != kelhost::SectionKind::dynamic) section.text = "S" + bytes.line();
        takeVariables(section.inputs);
        takeVariables(section.outputs);
    }
    return file;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    read(text);
    // Once more with the checksum made right, or the reader would never get past it.
    text.resize(std::min(text.size(), text.rfind("checksum ")));
    uint64_t hash = 14695981039346656037U;
    for (const char byte : text) hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211U;
    std::array<char, 32> digits{};
    std::snprintf(digits.data(), digits.size(), "checksum %016lx\n", hash);
    read(text + digits.data());

    const kelhost::BindFile drawn = draw(fuzz::Bytes(data, size));
    const std::string written = kelhost::writeBindFile(drawn);
    kelhost::BindFile back;
    std::string why;
    fuzz::demand(kelhost::readBindFile(written, back, why), "what is written is read", why + "\n" + written);
    fuzz::demand(kelhost::consistencyTokenOf(back.sections) == kelhost::consistencyTokenOf(drawn.sections),
                 "what is read is what was written", written);
    return 0;
}
