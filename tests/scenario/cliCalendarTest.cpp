// kelpolicy window calendar: the picture in the terminal, as data, as a page in a browser, as an iCalendar file.
#include <libical/ical.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <tuple>

#include "scenario.h"
#include "windowDocument.h"

namespace scenario {
namespace {

using nlohmann::json;

class CliCalendar : public Scenario {
protected:
    Outcome calendar(const std::string& document, std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"window", "calendar", "--document", "-"});
        return run(arguments, {.input = document});
    }
    json data(const std::string& document, std::vector<std::string> arguments) const {
        arguments.emplace_back("--json");
        const Outcome outcome = calendar(document, arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return json::parse(outcome.out);
    }
};

/* What is to be seen on single days, in words that all pictures share. */
struct DayCase {
    const char* name;
    std::string document;
    std::string zone;
    std::string date;
    std::string online; /* "00:00–06:00, 22:00–24:00"; empty: nothing */
    std::string offline;
    std::string change; /* words about a clock change */
};

WindowText offlineAt(std::string time, std::string dayOfMonth) {
    return {.time = std::move(time), .dayOfMonth = std::move(dayOfMonth), .type = "offline"};
}

const WindowText night = {};
const WindowText officeHours = {.time = "T080000/T180000", .dayOfWeek = "0111110", .isOutside = true};
const WindowText halfPastTwo = {.time = "T023000/T043000"};
const WindowText endsInTheDoubledHour = {.time = "T010000/T023000"};
const WindowText saturdays = {.time = "T000000/T000000", .dayOfWeek = "0000001"};

const DayCase dayCases[] = {
    {"the last day of February in a leap year", windowDocument(offlineAt("T200000/T220000", lastDayOfMonth)), "UTC",
     "2028-02-29", "00:00–24:00", "20:00–22:00", ""},
    {"the day before that", windowDocument(offlineAt("T200000/T220000", lastDayOfMonth)), "UTC", "2028-02-28",
     "00:00–24:00", "", ""},
    {"the last day of February in another year", windowDocument(offlineAt("T200000/T220000", lastDayOfMonth)), "UTC",
     "2027-02-28", "00:00–24:00", "20:00–22:00", ""},
    {"the night after a month's last day belongs to the next month",
     windowDocument(offlineAt("T230000/T030000", lastDayOfMonth)), "UTC", "2026-11-30", "00:00–24:00", "23:00–24:00",
     ""},
    {"and is shown there", windowDocument(offlineAt("T230000/T030000", lastDayOfMonth)), "UTC", "2026-11-01",
     "00:00–24:00", "00:00–03:00", ""},
    {"a window over midnight", windowDocument(night), "Europe/Berlin", "2026-11-10", "00:00–06:00, 22:00–24:00", "",
     ""},
    {"outside on a working day", windowDocument(officeHours), "Europe/Berlin", "2026-11-10", "00:00–08:00, 18:00–24:00",
     "", ""},
    {"outside at the week-end", windowDocument(officeHours), "Europe/Berlin", "2026-11-14", "00:00–24:00", "", ""},
    {"a night in which the clock goes forward", windowDocument(night), "Europe/Berlin", "2026-03-29",
     "00:00–06:00, 22:00–24:00", "", "the clock goes forward from 02:00 to 03:00"},
    {"a begin that does not exist: what the C runtime makes of it", windowDocument(halfPastTwo), "Europe/Berlin",
     "2026-03-29", "01:30–04:30", "", "the clock goes forward from 02:00 to 03:00"},
    {"a night in which the clock goes back", windowDocument(night), "Europe/Berlin", "2026-10-25",
     "00:00–06:00, 22:00–24:00", "", "the clock goes back from 03:00 to 02:00"},
    {"half an hour in Lord Howe", windowDocument(night), "Australia/Lord_Howe", "2026-10-04",
     "00:00–06:00, 22:00–24:00", "", "the clock goes forward from 02:00 to 02:30"},
    {"midnight that does not exist", windowDocument(night), "America/Sao_Paulo", "2018-11-04",
     "01:00–06:00, 22:00–24:00", "", "the clock goes forward from 00:00 to 01:00"},
    {"24 hours from midnight", windowDocument(saturdays), "UTC", "2026-11-14", "00:00–24:00", "", ""},
    {"and nothing behind them", windowDocument(saturdays), "UTC", "2026-11-15", "", "", ""},
};

std::string joined(const json& hours) {
    std::string text;
    for (const json& part : hours)
        text +=
            (text.empty() ? "" : ", ") + part.at("from").get<std::string>() + "–" + part.at("until").get<std::string>();
    return text;
}

const json* dayOf(const json& calendar, const std::string& date) {
    for (const json& month : calendar.at("months"))
        for (const json& day : month.at("days"))
            if (day.at("date") == date) return &day;
    return nullptr;
}

TEST_F(CliCalendar, showsTheHoursOfEachDayAsData) {
    for (const DayCase& example : dayCases) {
        const json shown = data(example.document, {"--tz", example.zone, "--month", example.date.substr(0, 7)});
        const json* day = dayOf(shown, example.date);
        ASSERT_NE(day, nullptr) << example.name;
        EXPECT_EQ(joined((*day).at("online")), example.online) << example.name;
        EXPECT_EQ(joined((*day).at("offline")), example.offline) << example.name;
        EXPECT_EQ((*day).at("clock_change"), example.change.empty() ? json(nullptr) : json(example.change))
            << example.name;
    }
}

TEST_F(CliCalendar, showsTheSameInTheTerminal) {
    for (const DayCase& example : dayCases) {
        const Outcome outcome =
            calendar(example.document, {"--tz", example.zone, "--month", example.date.substr(0, 7)});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        std::istringstream lines(outcome.out);
        std::string found;
        for (std::string line; std::getline(lines, line);) {
            const size_t bar = line.find("  |");
            if (bar != std::string::npos && bar >= 7 &&
                std::stoi(line.substr(4, 3)) == std::stoi(example.date.substr(8)))
                found = line;
        }
        std::string expected;
        if (!example.online.empty()) expected += "  online " + example.online;
        if (!example.offline.empty()) expected += "  offline " + example.offline;
        if (!example.change.empty()) expected += "  " + example.change;
        const size_t behindBars = found.rfind('|');
        ASSERT_NE(behindBars, std::string::npos) << example.name << outcome.out;
        EXPECT_EQ(found.substr(behindBars + 1), expected) << example.name;
        EXPECT_EQ(found.substr(0, 2), example.change.empty() ? "  " : " !") << example.name;
        EXPECT_EQ(outcome.out.find('\x1B'), std::string::npos) << "no colour is needed to read it";
    }
}

TEST_F(CliCalendar, drawsOneCharacterForEachHour) {
    const struct {
        const char* name;
        WindowText window;
        std::string zone;
        std::string month;
        std::string line; /* with both bars */
    } cases[] = {
        {"over midnight",
         {.time = "T220000/T060000"},
         "UTC",
         "2026-11",
         "Tu 10  |OOOOOO................OO|  |........................|"},
        {"parts of hours",
         {.time = "T013000/T034500"},
         "UTC",
         "2026-11",
         "Tu 10  |.oOo....................|  |........................|"},
        {"an hour that does not exist",
         {.time = "T000000/T060000"},
         "Europe/Berlin",
         "2026-03",
         "Su 29  |OO OOO..................|  |.. .....................|"},
        {"an hour that comes twice, one of them covered",
         {.time = "T000000/T025959"},
         "Europe/Berlin",
         "2026-10",
         "Su 25  |OOo.....................|  |........................|"},
        {"an hour that comes twice, none of them covered",
         {.time = "T000000/T020000"},
         "Europe/Berlin",
         "2026-10",
         "Su 25  |OO......................|  |........................|"},
        {"offline",
         {.time = "T220000/T223000", .type = "offline"},
         "UTC",
         "2026-11",
         "Tu 10  |OOOOOOOOOOOOOOOOOOOOOOOO|  |......................x.|"},
    };
    for (const auto& example : cases) {
        const Outcome outcome =
            calendar(windowDocument(example.window), {"--tz", example.zone, "--month", example.month});
        EXPECT_NE(outcome.out.find(example.line), std::string::npos) << example.name << "\n" << outcome.out;
    }
}

TEST_F(CliCalendar, tellsTheTwoHoursOfTheDoubledHourApart) {
    const json shown = data(windowDocument(endsInTheDoubledHour), {"--tz", "Europe/Berlin", "--month", "2026-10"});
    const json hours = (*dayOf(shown, "2026-10-25")).at("online");
    ASSERT_EQ(hours.size(), 1U);
    EXPECT_EQ(hours[0].at("from"), "01:00");
    const int64_t end = hours[0].at("end");
    EXPECT_TRUE(end == 1792888200 || end == 1792891800) << end;
    EXPECT_EQ(hours[0].at("until"), end == 1792888200 ? "02:30 CEST" : "02:30 CET");
}

TEST_F(CliCalendar, marksTodayAndOnlyToday) {
    const json shown = data(windowDocument(night), {"--at", "2026-11-10T23:30:00", "--tz", "Europe/Berlin"});
    const json& days = shown.at("months").at(0).at("days");
    EXPECT_EQ(days.size(), 30U);
    for (const json& day : days) EXPECT_EQ(day.at("today"), day.at("date") == "2026-11-10") << day.at("date");
    const Outcome text = calendar(windowDocument(night), {"--at", "2026-11-10T23:30:00", "--tz", "Europe/Berlin"});
    EXPECT_NE(text.out.find("\n> Tu 10  |"), std::string::npos) << text.out;
    EXPECT_EQ(std::count(text.out.begin(), text.out.end(), '>'), 2) << "the day and the key\n" << text.out;
}

TEST_F(CliCalendar, coloursTodayAndTheHoursOnATerminal) {
    if (!requireTerminals()) return;
    writeFile(file("night.xml"), windowDocument(night));
    const std::string shown = runOnTerminal({"window", "calendar", "--document", file("night.xml"), "--at",
                                             "2026-11-10T12:00:00", "--tz", "UTC"})
                                  .out;
    const std::string hours =
        "  |\x1B[32mOOOOOO................OO\x1B[0m|  |........................|  online "
        "00:00–06:00, 22:00–24:00\r\n";
    EXPECT_NE(shown.find("\n\x1B[1m> Tu 10\x1B[0m" + hours), std::string::npos) << shown;
    EXPECT_NE(shown.find("\n  We 11" + hours), std::string::npos) << shown;
}

/* A line that wraps would tear the picture. */
TEST_F(CliCalendar, fitsTheTerminal) {
    if (!requireTerminals()) return;
    writeFile(file("night.xml"), windowDocument(night));
    const auto onTerminal = [this](const std::string& columns) {
        return scenario::runOnTerminal(
                   {"/bin/sh", "-c", R"(stty cols "$1" && shift && exec "$@")", "sh", columns, program(), "window",
                    "calendar", "--document", file("night.xml"), "--month", "2026-11", "--tz", "UTC"},
                   {.environment = {{"NO_COLOR", "1"}}})
            .out;
    };
    const std::string bars = "\n  Mo  9  |OOOOOO................OO|  |........................|";
    EXPECT_NE(onTerminal("80").find(bars + "  online 00:00–0…\r\n"), std::string::npos) << onTerminal("80");
    EXPECT_NE(onTerminal("95").find(bars + "  online 00:00–06:00, 22:00–24:…\r\n"), std::string::npos);
    EXPECT_NE(onTerminal("97").find(bars + "  online 00:00–06:00, 22:00–24:00\r\n"), std::string::npos);
    EXPECT_NE(onTerminal("40").find(bars + "  online 00:00–06:00, 22:00–24:00\r\n"), std::string::npos)
        << "too narrow for the bars";
}

TEST_F(CliCalendar, showsEveryDayOfTheMonthsAskedFor) {
    const json shown = data(windowDocument(night), {"--month", "2027-11", "--months", "5", "--tz", "Europe/Berlin"});
    const std::vector<std::pair<std::string, size_t>> expected = {
        {"2027-11", 30}, {"2027-12", 31}, {"2028-1", 31}, {"2028-2", 29}, {"2028-3", 31}};
    ASSERT_EQ(shown.at("months").size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        const json& month = shown.at("months")[i];
        EXPECT_EQ(month.at("year").dump() + "-" + month.at("month").dump(), expected[i].first);
        EXPECT_EQ(month.at("days").size(), expected[i].second);
        for (const json& day : month.at("days"))
            EXPECT_EQ(joined(day.at("online")), "00:00–06:00, 22:00–24:00") << day.at("date");
    }
}

TEST_F(CliCalendar, showsADayThatAZoneLeftOut) {
    const json shown = data(windowDocument(night), {"--month", "2011-12", "--tz", "Pacific/Apia"});
    EXPECT_EQ((*dayOf(shown, "2011-12-30")).at("online"), json::array());
    EXPECT_EQ(joined((*dayOf(shown, "2011-12-29")).at("online")).substr(0, 13), "00:00–06:00");
    const Outcome text = calendar(windowDocument(night), {"--month", "2011-12", "--tz", "Pacific/Apia"});
    EXPECT_NE(text.out.find("this day is left out"), std::string::npos) << text.out;
}

/* --- the page in a browser -----------------------------------------------------------------------------------------
 */

/* A page that holds each of `pages` as wide as a desktop's, a phone's and a tablet's screen and as paper between its
 * margins, and tells of each how it is drawn: the text that is to be seen, the places of bars and skipped hours in
 * hours of the day, and what sticks out. On paper the rules for print take the place of those for screens. */
constexpr const char* measurement = R"(<!DOCTYPE html><body><script>
const screens = [{width: 1280}, {width: 390}, {width: 900}, {width: 718, print: true}];
function printRules(page) {
  for (const sheet of page.styleSheets)
    for (const rule of sheet.cssRules)
      if (rule instanceof page.defaultView.CSSMediaRule)
        rule.media.mediaText = rule.media.mediaText.includes('print') ? 'all' : 'not all';
}
function measure(frame) {
  const page = frame.contentDocument;
  const days = {};
  const tooWide = [];
  for (const cell of page.querySelectorAll('td[data-date]')) {
    const bars = [];
    const skipped = [];
    if (cell.scrollWidth > cell.clientWidth) tooWide.push(cell.dataset.date);
    for (const track of cell.querySelectorAll('.track')) {
      const left = track.getBoundingClientRect().left + track.clientLeft;
      const hour = x => Math.round((x - left) / track.clientWidth * 24 * 4) / 4;
      const kind = track.classList.contains('online') ? 'online' : 'offline';
      for (const part of track.children) {
        const box = part.getBoundingClientRect();
        (part.className === 'bar' ? bars : skipped).push([kind, hour(box.left), hour(box.right)]);
      }
    }
    const box = cell.getBoundingClientRect();
    days[cell.dataset.date] = {text: cell.innerText, bars, skipped, visible: box.width > 0 && box.height > 0};
  }
  const cells = [...page.querySelectorAll('td[data-date]')].map(cell => cell.getBoundingClientRect());
  for (const head of page.querySelectorAll('th'))
    if (head.scrollWidth > head.clientWidth) tooWide.push(head.innerText);
  const size = name => parseFloat(page.defaultView.getComputedStyle(page.querySelector(name)).fontSize);
  return {days, tooWide, sizes: [size('h1'), size('th'), size('td'), size('.date')], columns: new Set(cells.map(box => Math.round(box.left))).size,
    sticksOut: page.documentElement.scrollWidth > page.documentElement.clientWidth,
    loaded: frame.contentWindow.performance.getEntriesByType('resource').length};
}
async function draw(html, screen) {
  const frame = document.createElement('iframe');
  frame.width = screen.width;
  frame.height = 1000;
  frame.srcdoc = html;
  const loaded = new Promise(done => { frame.onload = done; });
  document.body.append(frame);
  await loaded;
  if (screen.print) printRules(frame.contentDocument);
  const result = measure(frame);
  frame.remove();
  return result;
}
(async () => {
  const results = [];
  for (const html of pages) {
    const drawn = [];
    for (const screen of screens) drawn.push(await draw(html, screen));
    results.push(drawn);
  }
  const bytes = unescape(encodeURIComponent(JSON.stringify(results)));
  document.body.innerHTML = '<pre>RESULT' + btoa(bytes) + 'END</pre>';
})();
</script></body>)";

std::string decodeBase64(const std::string& text) {
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    unsigned value = 0;
    int bits = 0;
    for (const char character : text) {
        const size_t digit = alphabet.find(character);
        if (digit == std::string::npos) break;
        value = (value << 6U | static_cast<unsigned>(digit)) & 0xFFFFFFU;
        bits += 6;
        if (bits < 8) continue;
        bits -= 8;
        bytes += static_cast<char>(value >> static_cast<unsigned>(bits) & 0xFFU);
    }
    return bytes;
}

constexpr const char* chromium = "/usr/bin/chromium";

class CliCalendarPage : public CliCalendar {
protected:
    void SetUp() override { requireInstalled(chromium); }

    std::string page(const std::string& document, std::vector<std::string> arguments) const {
        arguments.insert(arguments.end(), {"--html", file("page.html")});
        const Outcome outcome = calendar(document, arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return readFile(file("page.html"));
    }

    /* What the browser draws of each page: on a desktop, a phone, a tablet and on paper. */
    json drawn(const std::vector<std::string>& pages) const {
        std::string html = measurement;
        html.insert(html.find("<script>") + 8, "const pages = " + json(pages).dump() + ";");
        writeFile(file("measured.html"), html);
        std::filesystem::create_directories(file("profile"));
        // The browser keeps the real clock, under which its timers do not spin, and writes nothing into the user's
        // home.
        const Outcome outcome =
            runProgram({chromium, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                        "--disable-background-networking", "--disable-component-update", "--disable-sync",
                        "--disable-dev-shm-usage", "--user-data-dir=" + file("profile"), "--virtual-time-budget=600000",
                        "--dump-dom", "file://" + file("measured.html")},
                       {.environment = {{"LD_PRELOAD", std::nullopt}, {"HOME", file("profile")}}});
        const size_t begin = outcome.out.find("RESULT");
        const size_t end = outcome.out.find("END</pre>");
        if (begin == std::string::npos || end == std::string::npos || end < begin) {
            ADD_FAILURE() << "the browser drew nothing: " << outcome.status << outcome.err;
            return json::array();
        }
        return json::parse(decodeBase64(outcome.out.substr(begin + 6, end - begin - 6)));
    }
};

constexpr size_t wide = 0;
constexpr size_t narrow = 1;
constexpr size_t tablet = 2;
constexpr size_t paper = 3;

TEST_F(CliCalendarPage, showsTheHoursOnAWideScreenAndOnAPhone) {
    std::vector<std::string> pages;
    for (const DayCase& example : dayCases)
        pages.push_back(page(example.document, {"--tz", example.zone, "--month", example.date.substr(0, 7)}));
    const json results = drawn(pages);
    ASSERT_EQ(results.size(), std::size(dayCases));
    for (size_t i = 0; i < results.size(); ++i) {
        const DayCase& example = dayCases[i];
        for (const size_t screen : {wide, narrow}) {
            SCOPED_TRACE(std::string(example.name) + (screen == wide ? ", wide" : ", narrow"));
            const json& seen = results[i][screen];
            const json& day = seen.at("days").at(example.date);
            EXPECT_EQ(day.at("visible"), true);
            const std::string text = day.at("text");
            const auto says = [&text](const std::string& words) { return text.find(words) != std::string::npos; };
            EXPECT_EQ(says("online " + example.online), !example.online.empty()) << text;
            EXPECT_EQ(says("offline " + example.offline), !example.offline.empty()) << text;
            EXPECT_EQ(says("no maintenance"), example.online.empty() && example.offline.empty()) << text;
            EXPECT_EQ(says("clock change"), !example.change.empty()) << text;
            EXPECT_TRUE(says(example.change)) << text;
            EXPECT_EQ(seen.at("sticksOut"), false);
            EXPECT_EQ(seen.at("columns"), screen == wide ? 7 : 1);
            EXPECT_EQ(seen.at("loaded"), 0) << "the page needs nothing from elsewhere";
        }
    }
}

/* The longest texts are those of a doubled hour: its times are told with their zones. */
TEST_F(CliCalendarPage, keepsEveryDayInItsCellOnATabletAndOnPaper) {
    const std::vector<std::pair<WindowText, std::vector<std::string>>> cases = {
        {night, {"--tz", "Europe/Berlin", "--month", "2026-03", "--at", "2026-03-29T12:00"}},
        {{.time = "T021500/T024500"}, {"--tz", "Europe/Berlin", "--month", "2026-10", "--at", "2026-10-25T12:00"}},
        {{.time = "T014515/T015930"}, {"--tz", "Australia/Lord_Howe", "--month", "2026-04"}},
        {{.time = "T021515/T024530", .isOutside = true}, {"--tz", "Europe/Berlin", "--month", "2026-10"}},
    };
    std::vector<std::string> pages;
    for (const auto& [window, arguments] : cases) pages.push_back(page(windowDocument(window), arguments));
    const json results = drawn(pages);
    ASSERT_EQ(results.size(), pages.size());
    for (size_t i = 0; i < pages.size(); ++i) {
        for (const size_t screen : {wide, tablet, paper}) {
            EXPECT_EQ(results[i][screen].at("tooWide"), json::array()) << "page " << i << " screen " << screen;
            EXPECT_EQ(results[i][screen].at("sticksOut"), false) << "page " << i << " screen " << screen;
            EXPECT_EQ(results[i][screen].at("columns"), 7) << "page " << i << " screen " << screen;
        }
        for (size_t size = 0; size < 4; ++size)
            EXPECT_LT(results[i][paper].at("sizes")[size], results[i][wide].at("sizes")[size].get<double>() * 0.8)
                << "paper has smaller letters throughout";
    }
}

TEST_F(CliCalendarPage, tellsThatAZoneLeftADayOut) {
    const json results =
        drawn({page(windowDocument(night), {"--tz", "Pacific/Apia", "--month", "2011-12", "--at", "2011-12-01"})});
    ASSERT_EQ(results.size(), 1U);
    for (const size_t screen : {wide, narrow, paper}) {
        const json& days = results[0][screen].at("days");
        const std::string leftOut = days.at("2011-12-30").at("text");
        EXPECT_NE(leftOut.find("this zone leaves the day out"), std::string::npos) << leftOut;
        EXPECT_EQ(leftOut.find("no maintenance"), std::string::npos) << leftOut;
        EXPECT_EQ(days.at("2011-12-30").at("bars"), json::array());
        EXPECT_EQ(days.at("2011-12-30").at("visible"), true);
        EXPECT_EQ(days.at("2011-12-29").at("bars"), (json{{"online", 0, 6}, {"online", 22, 24}}));
        EXPECT_EQ(days.at("2011-12-31").at("bars"), (json{{"online", 0, 6}, {"online", 22, 24}}));
    }
}

TEST_F(CliCalendarPage, drawsTheBarsWhereTheClockShowsTheHours) {
    const struct {
        const char* name;
        WindowText window;
        std::string zone;
        std::string date;
        json bars; /* kind, from and to in hours */
        json skipped = json::array();
    } cases[] = {
        {"over midnight", night, "UTC", "2026-11-10", {{"online", 0, 6}, {"online", 22, 24}}},
        {"outside", officeHours, "UTC", "2026-11-10", {{"online", 0, 8}, {"online", 18, 24}}},
        {"month end",
         offlineAt("T200000/T223000", lastDayOfMonth),
         "UTC",
         "2026-11-30",
         {{"online", 0, 24}, {"offline", 20, 22.5}}},
        {"the clock goes forward",
         night,
         "Europe/Berlin",
         "2026-03-29",
         {{"online", 0, 2}, {"online", 3, 6}, {"online", 22, 24}},
         {{"online", 2, 3}}},
        {"the clock goes back", night, "Europe/Berlin", "2026-10-25", {{"online", 0, 6}, {"online", 22, 24}}},
        {"the second of the two hours",
         {.time = "T030000/T020000", .isOutside = true},
         "Europe/Berlin",
         "2026-10-25",
         {{"online", 2, 3}}},
        {"midnight that does not exist",
         night,
         "America/Sao_Paulo",
         "2018-11-04",
         {{"online", 1, 6}, {"online", 22, 24}},
         {{"online", 0, 1}}},
    };
    std::vector<std::string> pages;
    for (const auto& example : cases)
        pages.push_back(
            page(windowDocument(example.window), {"--tz", example.zone, "--month", example.date.substr(0, 7)}));
    const json results = drawn(pages);
    ASSERT_EQ(results.size(), std::size(cases));
    for (size_t i = 0; i < results.size(); ++i)
        for (const size_t screen : {wide, narrow}) {
            const json& day = results[i][screen].at("days").at(cases[i].date);
            EXPECT_EQ(day.at("bars"), cases[i].bars) << cases[i].name;
            EXPECT_EQ(day.at("skipped"), cases[i].skipped) << cases[i].name;
        }
}

TEST_F(CliCalendarPage, marksTodayAndIsOnePageByItself) {
    const std::string html =
        page(windowDocument(night), {"--at", "2026-11-10T12:00:00", "--months", "2", "--tz", "Europe/Berlin"});
    for (const char* reference : {"<script", "<link", "<img", "src=", "url(", "@import", "http:", "https:"})
        EXPECT_EQ(html.find(reference), std::string::npos) << reference;
    const json results = drawn({html});
    ASSERT_EQ(results.size(), 1U);
    const json days = results[0][wide].at("days");
    EXPECT_EQ(days.size(), 61U);
    for (const auto& [date, day] : days.items())
        EXPECT_EQ(day.at("text").get<std::string>().find("today") != std::string::npos, date == "2026-11-10") << date;
}

/* --- the iCalendar file --------------------------------------------------------------------------------------------
 */

struct Event {
    int64_t start;
    int64_t end;
    std::string category;
    std::string identifier{};

    friend bool operator==(const Event& one, const Event& other) {
        return one.start == other.start && one.end == other.end && one.category == other.category;
    }
    friend bool operator<(const Event& one, const Event& other) {
        return std::tie(one.start, one.end, one.category) < std::tie(other.start, other.end, other.category);
    }
};

void PrintTo(const Event& event, std::ostream* out) {
    *out << event.category << " " << event.start << " to " << event.end;
}

/* As the independent parser reads the file; every complaint of its is a failure. */
std::vector<Event> readEvents(const std::string& text) {
    icalcomponent* calendar = icalparser_parse_string(text.c_str());
    EXPECT_NE(calendar, nullptr) << text;
    if (calendar == nullptr) return {};
    EXPECT_EQ(icalcomponent_isa(calendar), ICAL_VCALENDAR_COMPONENT);
    EXPECT_EQ(icalcomponent_count_errors(calendar), 0);
    EXPECT_EQ(icalrestriction_check(calendar), 1) << text.substr(0, 500);
    std::vector<Event> events;
    std::vector<std::string> identifiers;
    for (icalcomponent* event = icalcomponent_get_first_component(calendar, ICAL_VEVENT_COMPONENT); event != nullptr;
         event = icalcomponent_get_next_component(calendar, ICAL_VEVENT_COMPONENT)) {
        const auto moment = [](icaltimetype time) {
            EXPECT_NE(icaltime_is_utc(time), 0);
            return int64_t{icaltime_as_timet_with_zone(time, icaltimezone_get_utc_timezone())};
        };
        icalproperty* category = icalcomponent_get_first_property(event, ICAL_CATEGORIES_PROPERTY);
        events.push_back({moment(icalcomponent_get_dtstart(event)), moment(icalcomponent_get_dtend(event)),
                          category == nullptr ? "" : icalproperty_get_categories(category),
                          icalcomponent_get_uid(event)});
        identifiers.push_back(events.back().identifier);
    }
    icalcomponent_free(calendar);
    const size_t count = identifiers.size();
    std::sort(identifiers.begin(), identifiers.end());
    identifiers.erase(std::unique(identifiers.begin(), identifiers.end()), identifiers.end());
    EXPECT_EQ(identifiers.size(), count) << "each event has an identifier of its own";
    std::sort(events.begin(), events.end());
    return events;
}

TEST_F(CliCalendar, writesAnICalendarFileWithTheMomentsThatTheEngineAnswers) {
    const struct {
        const char* name;
        WindowText window;
        std::string zone;
        std::string from; /* the engine is asked from here, when the window is closed */
        std::string month;
        std::string months;
        int64_t monthStart;
    } cases[] = {
        {"nights with both clock changes", night, "Europe/Berlin", "2026-02-27T12:00:00", "2026-03", "8", 1772319600},
        {"month ends",
         {.time = "T230000/T030000", .dayOfMonth = lastDayOfMonth},
         "America/New_York",
         "2025-12-30",
         "2026-01",
         "12",
         1767243600},
        {"outside", officeHours, "Europe/Berlin", "2026-09-30T12:00:00", "2026-10", "2", 1790805600},
        {"begin in the skipped hour", halfPastTwo, "Europe/Berlin", "2026-02-27T12:00:00", "2026-03", "1", 1772319600},
        {"24 hours", saturdays, "Australia/Lord_Howe", "2026-08-31T00:00:00", "2026-09", "2", 1788183000},
    };
    for (const auto& example : cases) {
        SCOPED_TRACE(example.name);
        const std::string document = windowDocument(example.window);
        const Outcome outcome = calendar(document, {"--tz", example.zone, "--month", example.month, "--months",
                                                    example.months, "--ics", file("windows.ics")});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        const std::string text = readFile(file("windows.ics"));
        const std::vector<Event> events = readEvents(text);
        ASSERT_FALSE(events.empty());

        const json answers = json::parse(run({"--json", "window", "next", "--document", "-", "--tz", example.zone,
                                              "--at", example.from, "--count", std::to_string(events.size() + 3)},
                                             {.input = document})
                                             .out);
        // Asked a day before the month: what is over by then does not stand in the file.
        std::vector<Event> expected;
        for (const json& answer : answers) expected.push_back({answer.at("start"), answer.at("end"), "online"});
        std::erase_if(expected, [&](const Event& event) { return event.end <= example.monthStart; });
        ASSERT_GE(expected.size(), events.size());
        expected.resize(events.size());
        EXPECT_EQ(events, expected);
    }
}

TEST_F(CliCalendar, writesTheWholeICalendarFile) {
    const Outcome outcome = calendar(
        windowDocument({.time = "T220000/T060000", .dayOfWeek = "0101000", .dayOfMonth = lastDayOfMonth}),
        {"--month", "2026-11", "--tz", "Europe/Berlin", "--at", "2026-11-21T12:00:00Z", "--ics", file("windows.ics")});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    std::string expected;
    for (const char* line : {
             "BEGIN:VCALENDAR",
             "VERSION:2.0",
             "PRODID:-//kelpolicy//maintenance windows//EN",
             "CALSCALE:GREGORIAN",
             "BEGIN:VEVENT",
             "UID:online-1796072400-1796101200@kelpolicy",
             "DTSTAMP:20261121T120000Z",
             "DTSTART:20261130T210000Z",
             "DTEND:20261201T050000Z",
             "SUMMARY:Database maintenance: online window",
             "DESCRIPTION:on MON\\, WED among the days last of the month from 22:00:00 to ",
             " 06:00:00 of the next day",
             "CATEGORIES:online",
             "TRANSP:TRANSPARENT",
             "END:VEVENT",
             "END:VCALENDAR",
         })
        expected += std::string(line) + "\r\n";
    EXPECT_EQ(readFile(file("windows.ics")), expected);
}

TEST_F(CliCalendar, writesTheICalendarFileByItsRules) {
    ASSERT_EQ(run({"window", "calendar", "--document", sample("windows-month-end.xml"), "--month", "2026-11", "--tz",
                   "Europe/Berlin", "--ics", file("windows.ics")})
                  .status,
              0);
    const std::string text = readFile(file("windows.ics"));
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        ASSERT_TRUE(line.ends_with('\r')) << line;
        EXPECT_LE(line.size(), 76U) << line;
    }
    std::vector<std::string> categories;
    for (const Event& event : readEvents(text)) categories.push_back(event.category);
    EXPECT_EQ(std::count(categories.begin(), categories.end(), "online"), 22)
        << "the gaps between 21 working days, one of them into each neighbouring month";
    EXPECT_EQ(std::count(categories.begin(), categories.end(), "offline"), 3)
        << "the night into the 1st and the two nights of the month";
}

/* A stretch that runs into the first month begins where it began then, so that files of months that follow each other
 * tell the same of it. */
TEST_F(CliCalendar, writesTheSameEventInEveryMonthThatItTouches) {
    const struct {
        const char* name;
        WindowText window;
        std::string zone;
        std::string month;
        int64_t start;
        int64_t end;
    } cases[] = {
        {"a night", night, "Europe/Berlin", "2026-11", 1793480400, 1793509200},
        {"a gap of a week-end and more",
         {.time = "T080000/T180000", .dayOfWeek = "0011100", .isOutside = true},
         "UTC",
         "2026-11",
         1793296800,
         1793692800},
        {"24 hours on all days of three months",
         {.time = "T000000/T000000", .monthOfYear = "000000001110"},
         "UTC",
         "2026-11",
         1788220800,
         1796083200},
        {"four years without the leap day",
         {.time = "T000000/T000000", .dayOfMonth = std::string(28, '1') + "0" + "11" + "011" + std::string(28, '0')},
         "UTC",
         "2026-11",
         1709251200,
         1835395200},
    };
    for (const auto& example : cases) {
        SCOPED_TRACE(example.name);
        const std::string document = windowDocument(example.window);
        ASSERT_EQ(calendar(document, {"--tz", example.zone, "--month", example.month, "--ics", file("one.ics")}).status,
                  0);
        const std::vector<Event> events = readEvents(readFile(file("one.ics")));
        ASSERT_FALSE(events.empty());
        EXPECT_EQ(events.front(), (Event{example.start, example.end, "online"}));
        ASSERT_EQ(
            calendar(document, {"--tz", example.zone, "--month", "2025-12", "--months", "14", "--ics", file("all.ics")})
                .status,
            0);
        const std::vector<Event> all = readEvents(readFile(file("all.ics")));
        const auto same = std::find(all.begin(), all.end(), events.front());
        ASSERT_NE(same, all.end());
        EXPECT_EQ(same->identifier, events.front().identifier);
    }
}

TEST_F(CliCalendar, writesAnOpenWindowFromTheBeginningToTheEndOfTheMonths) {
    for (const WindowText& window :
         {WindowText{.time = "T000000/T000000"}, WindowText{.dayOfWeek = "0000000", .isOutside = true},
          WindowText{.time = "T000000/T000000", .period = "20200101T000000/THISANDFUTURE"}}) {
        ASSERT_EQ(calendar(windowDocument(window), {"--month", "2026-11", "--tz", "UTC", "--ics", file("windows.ics")})
                      .status,
                  0);
        EXPECT_EQ(readEvents(readFile(file("windows.ics"))), (std::vector<Event>{{1793491200, 1796083200, "online"}}));
    }
    ASSERT_EQ(calendar(windowDocument({.time = "T000000/T000000", .period = "20261110T120000/THISANDFUTURE"}),
                       {"--month", "2026-11", "--tz", "UTC", "--ics", file("windows.ics")})
                  .status,
              0);
    EXPECT_EQ(readEvents(readFile(file("windows.ics"))), (std::vector<Event>{{1794312000, 1796083200, "online"}}))
        << "from the start of its period";
}

TEST_F(CliCalendar, tellsThatAFileCannotBeWritten) {
    for (const char* option : {"--html", "--ics"}) {
        const Outcome outcome = calendar(windowDocument(night), {option, file("none/file")});
        EXPECT_EQ(outcome.status, 1) << option;
        EXPECT_NE(outcome.err.find("cannot be written: there is no such directory"), std::string::npos) << outcome.err;
        EXPECT_EQ(outcome.out, "") << option;
        const Outcome device = calendar(windowDocument(night), {option, "/dev/full"});
        EXPECT_EQ(device.status, 1) << option;
        EXPECT_NE(device.err.find("cannot be written: it is no regular file"), std::string::npos) << device.err;
    }
}

TEST_F(CliCalendar, writesItsFilesWholeInPlaceOfTheOldOnes) {
    const std::string directory = file("out") + "/";
    std::filesystem::create_directory(directory);
    for (const char* option : {"--html", "--ics"}) {
        const std::string path = directory + "old";
        writeFile(path, "old");
        std::filesystem::create_hard_link(path, directory + "reader");
        const Outcome outcome = calendar(windowDocument(night), {option, path});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out, "written: " + path + "\n");
        EXPECT_EQ(readFile(directory + "reader"), "old") << "who had the file open still reads the old one";
        EXPECT_GT(readFile(path).size(), 100U);
        std::filesystem::remove(directory + "reader");
        std::filesystem::remove(path);
        EXPECT_TRUE(std::filesystem::is_empty(directory)) << "nothing is left over";
    }
    const Outcome odd = calendar(windowDocument(night), {"--html", directory + "a\x1B[31m.html"});
    EXPECT_EQ(odd.out, "written: " + directory + "a\\x1B[31m.html\n") << "a name cannot act on a terminal";
}

TEST_F(CliCalendar, refusesOneFileForBoth) {
    writeFile(file("one"), "old");
    std::filesystem::create_symlink(file("one"), file("link"));
    for (const std::string& other : {file("one"), file("link"), file("none/../one")}) {
        const Outcome outcome = calendar(windowDocument(night), {"--html", file("one"), "--ics", other});
        EXPECT_EQ(outcome.status, 2) << other;
        EXPECT_NE(outcome.err.find("name another file"), std::string::npos) << outcome.err;
    }
    EXPECT_EQ(readFile(file("one")), "old");
    EXPECT_EQ(calendar(windowDocument(night), {"--html", file("new"), "--ics", file("newer")}).status, 0);
}

}  // namespace
}  // namespace scenario
