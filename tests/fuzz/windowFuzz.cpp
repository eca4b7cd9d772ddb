/* Masks, times, periods, and questions about windows, which a walk over the days answers as well. */
#include <iterator>

#include "fuzzTarget.h"
#include "unit/maintWinCases.h"
#include "unit/maintWinReference.h"
#include "windows/sqlpiWindowReading.h"

namespace {

constexpr const char* zones[] = {"UTC",          "Europe/Berlin",     "America/New_York", "Australia/Lord_Howe",
                                 "Pacific/Apia", "America/Sao_Paulo", "Africa/Casablanca"};

/* A mask as the policy language writes it, or one drawn bit by bit. */
template <size_t Size>
void takeMask(fuzz::Bytes& bytes, bool (&mask)[Size]) {
    if (bytes.isOdd()) {
        sqlpiMWSetMask(mask, Size, bytes.line().c_str());
    } else {
        const auto bits = bytes.take<uint64_t>();
        for (size_t i = 0; i < Size; ++i) mask[i] = (bits >> i & 1U) != 0;
    }
}

void demandSame(const maintWinCases::Case& question, const OSSTime& found, const OSSTime& wanted) {
    if (found.seconds == wanted.seconds && found.subSecond == wanted.subSecond) return;
    fuzz::demand(false, "the answer is that of a walk over the days",
                 maintWinCases::describe(question) + "\n" + maintWinCases::describeLocal(found.seconds) + "\nwanted " +
                     maintWinCases::describeLocal(wanted.seconds));
}

/* Behind the last clock change that the zone's file lists, the walk over the days is too slow. */
bool isFarAway(const sqlpiMaintWindowInfo& info, OSSTime now) {
    constexpr int64_t lastListed = 2000000000;
    const auto isFar = [](const sqlpiMaintWindowDateTime& limit) {
        return limit.boundKind == MAINT_WINDOW_DATE_TIME && limit.year > 2033;
    };
    return now.seconds > lastListed || isFar(info.startDateTime) || isFar(info.endDateTime);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Bytes bytes(data, size);
    const maintWinCases::ZoneScope zone(zones[bytes.below(std::size(zones))]);
    maintWinCases::Case question{};
    sqlpiMaintWindowInfo& info = question.info;
    info = maintWinCases::dailyWindow({0, 0, 0}, {0, 0, 0});
    info.defined = bytes.below(16) != 0;
    info.outside = bytes.below(8) == 0;
    takeMask(bytes, info.monthOfYear);
    takeMask(bytes, info.dayOfMonth);
    takeMask(bytes, info.dayOfWeek);
    sqlpiMWSetTimeRange(&info.startTime, &info.endTime, bytes.line().c_str());
    sqlpiMWSetDateTimeRange(&info.startDateTime, &info.endDateTime, bytes.line().c_str());
    if (bytes.isOdd()) info.startDateTime.boundKind = MAINT_WINDOW_THISANDPRIOR;
    if (bytes.isOdd()) info.endDateTime.boundKind = MAINT_WINDOW_THISANDFUTURE;
    question.now = {bytes.take<uint32_t>(), bytes.take<uint16_t>()};
    question.minDuration = bytes.isOdd() ? bytes.take<int32_t>() : bytes.take<uint16_t>();
    // A gap that is never long enough takes the walk years of days.
    if (info.outside != 0) question.minDuration %= 8 * 3600;

    const fuzz::Balance balance;
    constexpr OSSTime untouched = {-77, -78};
    OSSTime start = untouched, end = untouched, wantedStart = untouched, wantedEnd = untouched;
    const int32_t answer = sqlpiFindMaintWindow(&info, question.now, question.minDuration, &start, &end);
    fuzz::demand(sqlpiIs24x7MaintWindow(&info) == (maintWinReference::is24x7(info) ? 1 : 0), "24x7 is told",
                 maintWinCases::describe(question));
    if (isFarAway(info, question.now)) return 0;
    const int32_t wanted = maintWinReference::find(info, question.now, question.minDuration, &wantedStart, &wantedEnd);
    fuzz::demand(answer == wanted, "the answer is that of a walk over the days", maintWinCases::describe(question));
    demandSame(question, start, wantedStart);
    demandSame(question, end, wantedEnd);
    return 0;
}
