// The calendar as one page that needs nothing from elsewhere: no script, no font, no picture. Hours stand as text and
// as bars that differ in shape as well as in colour. A wide screen and paper show weeks, a phone shows one day below
// the other.
#include <fmt/format.h>

#include <algorithm>

#include "windows/calendar.h"

namespace kelpolicy {
namespace {

constexpr const char* weekdays[] = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};

constexpr const char* style = R"(
:root { color-scheme: light; --ink: #1c2330; --quiet: #5b6472; --line: #b9c0cc; --paper: #ffffff; --ground: #eef1f5;
  --online: #17603a; --offline: #8a3b00; }
* { box-sizing: border-box; }
body { margin: 0 auto; padding: 1.25rem; max-width: 84rem; background: var(--paper); color: var(--ink);
  font: 1rem/1.4 system-ui, sans-serif; }
h1 { margin: 0 0 .25rem; font-size: 1.5rem; }
h2 { margin: 2rem 0 .5rem; font-size: 1.2rem; }
dl { display: grid; grid-template-columns: max-content 1fr; gap: .3rem .75rem; margin: .75rem 0; }
dt, dd { margin: 0; }
.key { display: inline-block; width: 2.5rem; height: .8rem; margin-right: .5rem; vertical-align: baseline; }
table { width: 100%; border-collapse: collapse; table-layout: fixed; }
th { padding: .25rem; font-size: .85rem; text-align: left; color: var(--quiet); }
td { height: 5.5rem; padding: .35rem .4rem; border: 1px solid var(--line); vertical-align: top; font-size: .8rem; }
td.pad { border: 0; background: none; }
td.today { outline: 3px solid var(--ink); outline-offset: -3px; }
.date { font-weight: 700; font-size: .95rem; }
.weekday { display: none; }
.mark { display: inline-block; margin-left: .3rem; padding: 0 .3rem; border: 1px solid var(--ink); border-radius: .2rem; font-weight: 600;
  font-size: .75rem; }
.track { position: relative; height: .7rem; margin: .2rem 0 .45rem; border: 1px solid var(--line); background: var(--ground);
  print-color-adjust: exact; -webkit-print-color-adjust: exact; }
.track::after { content: ""; position: absolute; left: 25%; right: 0; top: calc(100% + 1px); height: 3px;
  background: linear-gradient(to right, var(--quiet) 1px, transparent 1px) 0 0 / calc(100% / 3) 100%;
  print-color-adjust: exact; -webkit-print-color-adjust: exact; }
.skipped { position: absolute; top: -1px; bottom: -1px; border: 1px dotted var(--quiet); background: var(--paper);
  print-color-adjust: exact; -webkit-print-color-adjust: exact; }
.bar { position: absolute; top: -1px; bottom: -1px; print-color-adjust: exact; -webkit-print-color-adjust: exact; }
.online .bar, .key.online { background: var(--online); border: 1px solid var(--online); }
.offline .bar, .key.offline { border: 1px solid var(--offline);
  background: repeating-linear-gradient(135deg, var(--offline) 0 3px, #ffffff 3px 6px); }
ul { margin: 0; padding: 0; list-style: none; }
li { margin-top: .1rem; }
li b { font-weight: 600; }
.hours { display: inline-block; max-width: 100%; overflow-wrap: anywhere; }
.change, .none { margin: .2rem 0 0; }
.change { font-style: italic; }
.none { color: var(--quiet); }
footer { margin-top: 2rem; color: var(--quiet); font-size: .85rem; }
@media screen and (max-width: 56rem) {
  body { padding: .9rem; }
  table, tbody, tr, td { display: block; }
  thead, td.pad { display: none; }
  td { height: auto; margin-bottom: -1px; padding: .5rem .6rem; font-size: .95rem; }
  .weekday { display: inline; margin-left: .35rem; font-weight: 400; }
  .track { height: .9rem; }
}
@page { margin: 12mm; }
@media print {
  html { font-size: 8.5pt; }
  body { max-width: none; padding: 0; }
  section { break-inside: avoid; }
}
)";

std::string escaped(std::string_view text) {
    std::string safe;
    for (const char character : text) {
        switch (character) {
            case '&':
                safe += "&amp;";
                break;
            case '<':
                safe += "&lt;";
                break;
            case '>':
                safe += "&gt;";
                break;
            case '"':
                safe += "&quot;";
                break;
            default:
                safe += character;
        }
    }
    return safe;
}

constexpr int minutesOfDay = 24 * 60;

/* A part of a track, in minutes of the day's clock. */
struct Part {
    int from;
    int until;
};

std::string drawn(const char* name, Part part) {
    if (part.from >= part.until) return {};
    return fmt::format("<span class=\"{}\" style=\"left:{:.2f}%;width:{:.2f}%\"></span>", name,
                       part.from * 100.0 / minutesOfDay, (part.until - part.from) * 100.0 / minutesOfDay);
}

int minuteAt(int64_t moment) {
    const tm local = localTime(moment);
    return local.tm_hour * 60 + local.tm_min + (local.tm_sec > 0 ? 1 : 0);
}

/* Where the day's clock shows the hours. An hour that a clock change doubles is drawn in one place, filled by either of
 * its two. */
std::vector<Part> partsOf(const CalendarDay& day, const std::vector<Hours>& hours) {
    std::vector<Part> parts;
    const auto add = [&parts](int from, int until) {
        if (!parts.empty() && from <= parts.back().until && until >= parts.back().from)
            parts.back() = {std::min(from, parts.back().from), std::max(until, parts.back().until)};
        else
            parts.push_back({from, until});
    };
    for (const Hours& part : hours) {
        const int from = minuteAt(part.start);
        const int until = part.end == day.end ? minutesOfDay : minuteAt(part.end);
        const bool crossesChange =
            day.clockChange.has_value() && part.start < day.clockChange->moment && part.end > day.clockChange->moment;
        if (!crossesChange) {
            add(from, until);
            continue;
        }
        add(from, minuteAt(day.clockChange->moment - 60) + 1);
        add(minuteAt(day.clockChange->moment), until);
    }
    return parts;
}

std::string track(const CalendarDay& day, const char* kind, const std::vector<Hours>& hours) {
    if (hours.empty()) return {};
    std::string html = fmt::format("<div class=\"track {}\" aria-hidden=\"true\">", kind);
    for (const Part& part : partsOf(day, hours)) html += drawn("bar", part);
    if (day.clockChange.has_value() && day.clockChange->seconds > 0) {
        const int after = minuteAt(day.clockChange->moment);
        html += drawn("skipped", {std::max<int>(0, after - static_cast<int>(day.clockChange->seconds / 60)), after});
    }
    return html + "</div>";
}

std::string list(const CalendarDay& day) {
    std::string html;
    for (const auto& [name, hours] : {std::pair("online", &day.online), std::pair("offline", &day.offline)}) {
        if (hours->empty()) continue;
        html += fmt::format("<li data-kind=\"{}\"><b>{}</b> ", name, name);
        for (const Hours& part : *hours) {
            const bool isLast = &part == &hours->back();
            html += fmt::format("<span class=\"hours\">{}{}</span>{}", escaped(shownHours(part)), isLast ? "" : ",",
                                isLast ? "" : " ");
        }
        html += "</li>";
    }
    return html.empty() ? "<p class=\"none\">no maintenance</p>" : "<ul>" + html + "</ul>";
}

std::string cell(const CalendarDay& day) {
    std::string html = fmt::format(
        "<td{} data-date=\"{}\"><time class=\"date\" datetime=\"{}\">{}<span class=\"weekday\">{}</span></time>",
        day.isToday ? " class=\"today\"" : "", isoDate(day.date), isoDate(day.date), day.date.day,
        weekdays[weekdayOf(day.date)]);
    if (day.isToday) html += "<span class=\"mark\">today</span>";
    if (day.clockChange.has_value()) html += "<span class=\"mark\">clock change</span>";
    if (day.start == day.end) return html + "<p class=\"change\">this zone leaves the day out</p></td>\n";
    html += track(day, "online", day.online) + track(day, "offline", day.offline) + list(day);
    if (day.clockChange.has_value())
        html += fmt::format("<p class=\"change\">{}</p>", escaped(shownClockChange(*day.clockChange)));
    return html + "</td>\n";
}

std::string section(const CalendarMonth& page) {
    std::string html = fmt::format("<section>\n<h2>{} {}</h2>\n<table>\n<thead><tr>", monthName(page.month), page.year);
    for (const char* weekday : weekdays) html += fmt::format("<th scope=\"col\">{}</th>", weekday);
    html += "</tr></thead>\n<tbody>\n<tr>";
    const int before = weekdayOf(page.days.front().date);
    for (int i = 0; i < before; ++i) html += "<td class=\"pad\"></td>";
    for (const CalendarDay& day : page.days) {
        if (weekdayOf(day.date) == 0 && day.date.day > 1) html += "</tr>\n<tr>";
        html += cell(day);
    }
    for (int i = weekdayOf(page.days.back().date); i < 6; ++i) html += "<td class=\"pad\"></td>";
    return html + "</tr>\n</tbody>\n</table>\n</section>\n";
}

}  // namespace

std::string calendarHtml(const Calendar& calendar) {
    std::string html = fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<title>Maintenance windows</title>\n<style>{}</style>\n</head>\n<body>\n<h1>Maintenance windows</h1>\n"
        "<p>Hours in which the database may do its automatic maintenance. All times are local time, {}.</p>\n"
        "<dl>\n<dt><span class=\"key online\"></span>online</dt><dd>{}</dd>\n"
        "<dt><span class=\"key offline\"></span>offline</dt><dd>{}</dd>\n</dl>\n<main>\n",
        style, escaped(calendar.zone), escaped(calendar.onlineRule), escaped(calendar.offlineRule));
    for (const CalendarMonth& page : calendar.months) html += section(page);
    return html +
           "</main>\n<footer>A bar is a day from 0 to 24 o'clock, with marks at 6, 12 and 18; a dotted gap is an hour "
           "that does not exist. 24:00 means that the time goes on with the next day.</footer>\n</body>\n</html>\n";
}

}  // namespace kelpolicy
