#include "document/documentFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "console/failure.h"
#include "files.h"
#include "hostFile.h"

namespace kelpolicy {
namespace {

Failure fileFailure(const std::string& path, const std::string& what, const char* hint) {
    return {fmt::format("{} {}", documentName(path), what), hint, policyFileCode, policyState};
}

Failure readFailure(const std::string& path, int reason) {
    const char* hint = reason == EISDIR   ? "Name the document itself, not its directory."
                       : reason == ENOENT ? "Check the path; \"-\" reads standard input."
                                          : "Check that you may read the file.";
    return fileFailure(path, fmt::format("cannot be read: {}", std::generic_category().message(reason)), hint);
}

class OpenFile {
public:
    explicit OpenFile(const std::string& path)
        : descriptor_(path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (descriptor_ < 0) throw readFailure(path, errno);
    }
    ~OpenFile() {
        if (descriptor_ != STDIN_FILENO) ::close(descriptor_);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    int descriptor() const noexcept { return descriptor_; }

private:
    int descriptor_;
};

}  // namespace

std::string readDocument(const std::string& path, size_t limit) {
    const OpenFile file(path);
    std::string document;
    while (true) {
        const ssize_t done = appendPiece(file.descriptor(), document);
        if (done < 0) throw readFailure(path, errno);
        if (done == 0) break;
        if (document.size() > limit)
            throw fileFailure(path, fmt::format("is longer than {} bytes", limit),
                              "Give a document that holds one policy; the policy table takes up to 2097152 bytes.");
    }
    if (document.empty()) throw fileFailure(path, "is empty", "Give a document that holds one policy.");
    return document;
}

std::optional<std::string> peekAtServerFile(const std::string& directory, const std::string& name) {
    std::string document;
    const int32_t status =
        kelhost::readWholeFileBelow(directory.c_str(), name.c_str(), largestPolicyDocument, document);
    return status == OSS_OK && !document.empty() ? std::optional(std::move(document)) : std::nullopt;
}

std::string documentName(const std::string& path) {
    return path == "-" ? "the document on standard input" : fmt::format("the document \"{}\"", path);
}

std::string documentInMessages(const std::string& path) {
    return path == "-" ? "<stdin>" : path;
}

ssize_t appendPiece(int descriptor, std::string& text) {
    std::array<char, 65536> piece;
    ssize_t done = -1;
    do {
        done = ::read(descriptor, piece.data(), piece.size());
    } while (done < 0 && errno == EINTR);
    if (done > 0) text.append(piece.data(), static_cast<size_t>(done));
    return done;
}

}  // namespace kelpolicy
