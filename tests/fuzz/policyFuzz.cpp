/* Policy text: parsed, extracted by each service, described. */
#include <vector>

#include "description/sqlpiFormatRecords.h"
#include "fuzzTarget.h"
#include "sqlpiFormat.h"
#include "unit/trees.h"
#include "windows/sqlpiWindowReading.h"

namespace {

/* The tree as text; without recursion, for documents are deep. */
std::string listing(const SQLPIPolicyElement* root) {
    std::string text;
    std::vector<const SQLPIPolicyElement*> open{root};
    while (!open.empty()) {
        const SQLPIPolicyElement* element = open.back();
        open.pop_back();
        text += std::to_string(element->elementType) + "'" + (element->text == nullptr ? "" : element->text) + "'";
        for (const auto* node = element->children->getFirstElement(); node != nullptr; node = node->getNext()) {
            const auto* child = static_cast<const SQLPIPolicyElement*>(node->data);
            fuzz::demand(child->parent == element, "a child knows its parent");
            open.push_back(child);
        }
    }
    return text;
}

/* Describes a record with much room and with `size` bytes. */
template <class Describe>
void describe(Describe describeInto, size_t size) {
    constexpr int32_t wholeSize = 16384;
    std::string whole(wholeSize, '\0');
    std::string small(size, '\0');
    fuzz::demand(describeInto(whole.data(), wholeSize) == SQLPI_FORMAT_OK, "a record can be described");
    fuzz::demand(describeInto(small.data(), static_cast<int32_t>(size)) == SQLPI_FORMAT_OK, "a little room is enough");
    whole.resize(strnlen(whole.data(), whole.size()));
    small.resize(strnlen(small.data(), small.size()));
    fuzz::demand(whole.size() < wholeSize && small.size() < size, "a description is terminated");
    fuzz::demand(whole.starts_with(small), "a description is cut at its end", small + "\n" + whole);
}

template <class Record, class Get, class Describe>
void filterPolicy(std::string document, Get get, Describe describeRecord, size_t size) {
    Record record = {};
    get(document.data(), static_cast<int32_t>(document.size()), &record);
    describe([&](char* buffer, int32_t room) { return describeRecord(buffer, room, record); }, size);
    if (record.tablesFilter != nullptr) sqlofmblkEx(record.tablesFilter, "sqlpiStatsProf", 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const fuzz::BoundInstance instance;
    std::string document(reinterpret_cast<const char*>(data), size);
    const size_t room = 1 + size % 1024;
    const auto length = static_cast<int32_t>(document.size());
    {
        const fuzz::Balance balance;
        int32_t status = -1;
        const Tree tree = parseTree(document, &status);
        fuzz::demand(status == SQLPI_PARSE_OK || status == SQLPI_PARSE_ERROR, "a parse is done or refused");
        fuzz::demand((tree != nullptr) == (status == SQLPI_PARSE_OK && length > 0), "a tree comes with success");
        if (tree != nullptr) {
            const Tree again = parseTree(document);
            fuzz::demand(listing(tree.get()) == listing(again.get()), "a document has one meaning");
        }
    }
    const fuzz::Balance balance;
    sqlpiBackupPolicy backup = {};
    sqlpiGetBackupPolicy(document.data(), length, &backup);
    describe([&](char* text, int32_t most) { return sqlpiGetBackupFormatStrings(text, most, backup); }, room);
    sqlpiMaintWindow window;
    sqlpiSetMaintWindowDefaults(&window);
    sqlpiGetMaintWindowPolicy(document.data(), length, &window);
    describe([&](char* text, int32_t most) { return sqlpiGetMaintWindowFormatStrings(text, most, window); }, room);
    filterPolicy<sqlpiRunStatsPolicy>(document, sqlpiGetAtmSensors, sqlpiGetRunstatsFormatStrings, room);
    filterPolicy<sqlpiReorgPolicy>(
        document, sqlpiGetReorgPolicy,
        [](char* text, int32_t most, const sqlpiReorgPolicy& policy) {
            return sqlpiGetReorgFormatStrings(text, most, policy, false);
        },
        room);
    filterPolicy<sqlpiStatsProfPolicy>(document, sqlpiGetStatsProfilePolicy, sqpiGetStatsProfileFormatStrings, room);
    return 0;
}
