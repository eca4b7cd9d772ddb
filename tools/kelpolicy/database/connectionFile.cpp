#include "database/connectionFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include "console/failure.h"

namespace kelpolicy {
namespace {

constexpr size_t longestConnection = 4096;

Failure refusal(const std::string& path, const std::string& what, const std::string& hint) {
    return {fmt::format("the connection file \"{}\" {}", path, what), hint, systemErrorCode, systemErrorState};
}

Failure unreadable(const std::string& path) {
    return refusal(path, fmt::format("cannot be read: {}", std::generic_category().message(errno)),
                   "Check the path, and that you may read the file.");
}

/* The file that was opened is looked at, not the name, which somebody could give to another one meanwhile. */
void requirePrivate(int descriptor, const std::string& path) {
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0) throw unreadable(path);
    if (!S_ISREG(status.st_mode))
        throw refusal(path, "is no regular file", "Write the connection string into a file of its own.");
    if (status.st_uid != ::geteuid() && status.st_uid != 0)
        throw refusal(path, fmt::format("belongs to the user with the number {}", status.st_uid),
                      "It must be yours or the superuser's: copy it, with mode 0600.");
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        throw refusal(path, fmt::format("can be used by others: its mode is {:04o}", status.st_mode & 07777U),
                      "Make it yours alone, with \"chmod 600\", and change a password that it held.");
}

}  // namespace

std::string readConnectionFile(const std::string& path) {
    // What is no regular file must not make anybody wait.
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    const std::unique_ptr<FILE, int (*)(FILE*)> file(descriptor < 0 ? nullptr : ::fdopen(descriptor, "r"), std::fclose);
    if (file == nullptr) throw unreadable(path);
    requirePrivate(descriptor, path);
    std::string text(longestConnection + 1, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    if (std::ferror(file.get()) != 0) throw unreadable(path);
    if (text.size() > longestConnection)
        throw refusal(path, fmt::format("has more than {} bytes", longestConnection),
                      "Write the connection string into it, and nothing else.");
    if (text.ends_with('\n')) text.pop_back();
    if (text.ends_with('\r')) text.pop_back();
    if (text.empty() || text.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos)
        throw refusal(path, text.empty() ? "is empty" : "has more than one line",
                      "Write the connection string into it in one line, and nothing else.");
    return text;
}

}  // namespace kelpolicy
