#include "commands/windowOptions.h"

#include <fmt/format.h>

#include <cstdlib>
#include <ctime>

#include "database/records.h"
#include "windows/localTime.h"

namespace kelpolicy {

void enterZone(const std::string& zone, Output& output) {
    if (!zone.empty()) {
        setTimeZone(zone);
        return;
    }
    if (!isOwnTimeZoneKnown())
        output.note(fmt::format("TZ is \"{}\", which is no known zone: all times are UTC", std::getenv("TZ")));
}

int64_t momentOf(const WindowOptions& options) {
    return options.at.empty() ? std::time(nullptr) : parseMoment(options.at).value();
}

void addZoneOption(Command command, WindowOptions& options) {
    command.option("--tz", options.zone, "Local time is that of this zone, for example Europe/Berlin")
        .type("ZONE")
        .check([](const std::string& zone) {
            return isKnownTimeZone(zone) ? std::string() : fmt::format("there is no time zone \"{}\"", zone);
        });
}

void addAtOption(Command command, WindowOptions& options) {
    command.option("--at", options.at, "Moment in place of now: seconds since the epoch or 2026-03-29T02:30:00")
        .type("TIME")
        .check([](const std::string& text) { return momentComplaint(text); });
}

void addKindOption(Command command, WindowOptions& options, const char* help) {
    command.option("--kind", options.kind, help).type("online|offline").oneOf({"online", "offline"});
}

Windows::Windows(const WindowOptions& options, const GlobalOptions& globals, Output& output)
    : source_(windowsKind, options.document, globals, output), record_(readWindows(source_.givenDocument())) {
    enterZone(options.zone, output);
    at_ = momentOf(options);
}

}  // namespace kelpolicy
