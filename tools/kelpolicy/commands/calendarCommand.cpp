// kelpolicy window calendar
#include <fmt/format.h>

#include <charconv>
#include <filesystem>
#include <system_error>

#include "archive/replaceFile.h"
#include "commands/windowOptions.h"
#include "console/text.h"
#include "windows/calendar.h"

namespace kelpolicy {
namespace {

struct CalendarOptions : WindowOptions {
    std::string month{}; /* as given; empty: the current one */
    int months = 1;
    std::string htmlFile{};
    std::string icsFile{};
};

struct YearMonth {
    int year;
    int month;
};

/* "2026-03"; nothing when it is not that, or not a month of the years that can be shown. */
std::optional<YearMonth> parseMonth(const std::string& text) {
    YearMonth parsed = {};
    if (text.size() != 7 || text[4] != '-') return {};
    const char* begin = text.data();
    const auto year = std::from_chars(begin, begin + 4, parsed.year);
    const auto month = std::from_chars(begin + 5, begin + 7, parsed.month);
    if (year.ptr != begin + 4 || month.ptr != begin + 7) return {};
    const bool isPossible =
        parsed.year >= firstYear && parsed.year <= lastYear && parsed.month >= 1 && parsed.month <= 12;
    return isPossible ? std::optional(parsed) : std::nullopt;
}

/* Whether two names mean the same file; it need not exist. */
bool isSameFile(const std::string& one, const std::string& other) {
    std::error_code failure;
    if (std::filesystem::equivalent(one, other, failure)) return true;
    const std::filesystem::path path = realPath(one, failure);
    return !failure && path == realPath(other, failure);
}

int runCalendar(const CalendarOptions& options, const GlobalOptions& globals, Output& output) {
    Windows windows(options, globals, output);
    const Date today = dateOf(windows.at());
    const YearMonth first = parseMonth(options.month).value_or(YearMonth{today.year, today.month});
    const Calendar calendar = makeCalendar(windows.record(), first.year, first.month, options.months, windows.at());
    if (!options.htmlFile.empty()) replaceFile(options.htmlFile, calendarHtml(calendar));
    if (!options.icsFile.empty()) replaceFile(options.icsFile, calendarIcs(calendar, windows.at()));
    if (output.isJson()) {
        output.writeJson(calendarObject(calendar));
    } else if (options.htmlFile.empty() && options.icsFile.empty()) {
        output.write(calendarText(calendar, output));
    } else {
        for (const std::string& path : {options.htmlFile, options.icsFile})
            if (!path.empty()) output.writeLine(fmt::format("written: {}", printable(path)));
    }
    return windows.source().finish();
}

}  // namespace

void addWindowCalendar(Command parent) {
    Command command =
        parent.command("calendar", "Months as a picture: the hours of each day in which maintenance may run");
    const auto options = std::make_shared<CalendarOptions>();
    command.option("--month", options->month, "First month, as 2026-03 (default: the current one)")
        .type("YYYY-MM")
        .check([](const std::string& text) {
            return parseMonth(text).has_value()
                       ? std::string()
                       : fmt::format("\"{}\" is no month from {}-01 to {}-12", text, firstYear, lastYear);
        });
    command.option("--months", options->months, "How many months (default: 1)").type("N").between(1, 120);
    command.option("--html", options->htmlFile, "Write it to this file as a page by itself, whole or not at all")
        .type("FILE")
        .notEmpty();
    command
        .option("--ics", options->icsFile, "Write the windows to this file as an iCalendar file, whole or not at all")
        .type("FILE")
        .notEmpty();
    addAtOption(command, *options);
    addDocumentOption(command, options->document);
    addZoneOption(command, *options);
    command.footer(example("kelpolicy window calendar --month 2026-03 --months 3 --html windows.html"));
    command.runs(
        [options](const GlobalOptions& globals, Output& output) { return runCalendar(*options, globals, output); },
        [options] {
            if (!options->htmlFile.empty() && !options->icsFile.empty() &&
                isSameFile(options->htmlFile, options->icsFile))
                throw UsageError(
                    "--ics", fmt::format("the page of --html goes to \"{}\": name another file", options->htmlFile));
        });
}

}  // namespace kelpolicy
