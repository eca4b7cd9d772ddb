#include "fileWalk.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

namespace kelhost {
namespace {

constexpr int directoryFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

std::string_view withoutSlashesAtEnd(std::string_view name) noexcept {
    return name.substr(0, name.find_last_not_of('/') + 1);
}

/* The name as the system takes it. */
bool copyName(std::string_view from, char (&name)[256]) noexcept {
    if (from.size() >= sizeof name) {
        errno = ENAMETOOLONG;
        return false;
    }
    name[from.copy(name, sizeof name - 1)] = '\0';
    return true;
}

Descriptor enter(int directory, std::string_view part, std::optional<mode_t> permissions) noexcept {
    char name[256];
    if (!copyName(part, name)) return {};
    Descriptor next(::openat(directory, name, directoryFlags));
    if (next.isOpen() || errno != ENOENT || !permissions.has_value()) return next;
    if (::mkdirat(directory, name, *permissions) != 0 && errno != EEXIST) return {};
    return Descriptor(::openat(directory, name, directoryFlags));
}

}  // namespace

Descriptor openDirectoryBelow(const char* root, std::string_view name, std::optional<mode_t> permissions) noexcept {
    Descriptor place(::open(root, directoryFlags));
    while (place.isOpen() && !name.empty()) {
        const size_t slash = std::min(name.find('/'), name.size());
        const std::string_view part = name.substr(0, slash);
        name.remove_prefix(std::min(slash + 1, name.size()));
        if (part.empty() || part == ".") continue;
        if (part == "..") {
            errno = ENOENT;
            return {};
        }
        place = enter(place.number(), part, permissions);
    }
    return place;
}

int findPlaceBelow(const char* root, std::string_view name, FilePlace& place) noexcept {
    name = withoutSlashesAtEnd(name);
    const size_t begin = name.rfind('/') + 1;  // 0 where there is none
    const std::string_view last = name.substr(begin);
    if (last.empty() || last == "." || last == "..") return EISDIR;
    if (!copyName(last, place.name)) return errno;
    place.directory = openDirectoryBelow(root, name.substr(0, begin));
    return place.directory.isOpen() ? 0 : errno;
}

int openRegularAt(int directory, const char* name, int flags, mode_t permissions, Descriptor& file) noexcept {
    // To open a device can have effects of its own, so the kind is looked at before; and, because the name may mean
    // another file by then, once more after.
    struct stat status {};
    if (::fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
        if (!S_ISREG(status.st_mode)) return ENXIO;
    } else if (errno != ENOENT || (flags & O_CREAT) == 0) {
        return errno;
    }
    int number = -1;
    do {
        number = ::openat(directory, name, flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, permissions);
    } while (number < 0 && errno == EINTR);
    file = Descriptor(number);
    if (number < 0 || ::fstat(number, &status) != 0) return errno;
    return S_ISREG(status.st_mode) ? 0 : ENXIO;
}

}  // namespace kelhost
