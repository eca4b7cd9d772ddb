// kelpolicy tree: a document as the engine's parser sees it.
#include <fmt/format.h>

#include "commands/command.h"
#include "configuration/policyKinds.h"
#include "console/text.h"
#include "database/databaseSession.h"
#include "document/documentFile.h"
#include "model/sqlpiPolicyCatalogue.h"

namespace kelpolicy {
namespace {

/* Larger than what a row may hold, so that also a document that is too large for one can be looked at. */
constexpr size_t largestDocument = size_t{16} << 20;

constexpr const char* classNames[] = {
    "SQLPIPolicyElement",
#define SQLPI_ELEMENT(value, enumerator, name, elementClass) #elementClass,
#include "sqlpiPolicyElements.def"
#undef SQLPI_ELEMENT
};

/* The fields that an element's attributes fill, with the class's defaults where an attribute is not there. */
Json typedAttributes(const SQLPIPolicyElement& element) {
    Json fields = Json::object();
    switch (element.elementType) {
        case SQLPI_ELEMENT_DB_BACKUP:
            if (const auto* action = dynamic_cast<const SQLPIBackupAction*>(&element)) fields["mode"] = action->mode;
            break;
        case SQLPI_ELEMENT_TABLE_REORG:
            if (const auto* action = dynamic_cast<const SQLPIReorgAction*>(&element))
                fields = {{"useTempTbsp", action->useTempTbsp},
                          {"mode", action->mode},
                          {"dictionaryOption", action->dictionaryOption},
                          {"reclaimExtentsSizeForMDCTables", action->reclaimExtentsSizeForMDCTables},
                          {"numInxPseudoEmptyPagesForVolatileTables", action->numInxPseudoEmptyPagesForVolatileTables}};
            break;
        case SQLPI_ELEMENT_MONITOR:
            if (const auto* monitor = dynamic_cast<const SQLPIStatsProfMonitor*>(&element))
                fields = {{"maxFiles", monitor->maxFiles}, {"maxFileSize", monitor->maxFileSize}};
            break;
        case SQLPI_ELEMENT_POPULATION:
            if (const auto* population = dynamic_cast<const SQLPIStatsProfPopulation*>(&element))
                fields["maxFWSize"] = population->maxFWSize;
            break;
        case SQLPI_ELEMENT_STATS_PROFILING:
            if (const auto* profiling = dynamic_cast<const SQLPIStatsProfType*>(&element))
                fields = {
                    {"maxColGroupStats", profiling->maxColGroupStats},
                    {"maxSingleTableStats", profiling->maxSingleTableStats},
                    {"maxFrequentValues", profiling->maxFrequentValues},
                    {"maxProfiles", profiling->maxProfiles},
                    {"profileGeneration",
                     profiling->profileGeneration == nullptr ? Json(nullptr) : Json(profiling->profileGeneration)}};
            break;
        case SQLPI_ELEMENT_MAINTENANCE_WINDOW_CONDITION:
            if (const auto* condition = dynamic_cast<const SQLPIMaintenanceWindowCondition*>(&element))
                fields["maintWindowType"] = condition->maintWindowType;
            break;
        default:
            break;
    }
    return fields;
}

struct Place {
    size_t index;
    size_t depth;
    std::optional<size_t> parent;
};

/* Visits every element in document order. The way up is kept beside the tree, however deep it is. */
template <class Visit>
void forEachElement(const SQLPIPolicyElement& root, Visit visit) {
    struct Open {
        const SQLPIListElement* next;
        size_t index;
    };
    const auto firstChild = [](const SQLPIPolicyElement& element) {
        return element.children == nullptr ? nullptr : element.children->getFirstElement();
    };
    size_t count = 0;
    visit(root, Place{count, 0, {}});
    std::vector<Open> open = {{firstChild(root), count++}};
    while (!open.empty()) {
        const SQLPIListElement* node = open.back().next;
        if (node == nullptr) {
            open.pop_back();
            continue;
        }
        open.back().next = node->getNext();
        if (node->data == nullptr) continue;
        const auto& element = *static_cast<const SQLPIPolicyElement*>(node->data);
        visit(element, Place{count, open.size(), open.back().index});
        open.push_back({firstChild(element), count++});
    }
}

/* One element on a line: an array without nesting, for a document may nest deeper than a program can read JSON. Names
 * and classes need no quoting; the rest is written without a JSON object for each of perhaps a million elements. */
void writeJsonTree(const SQLPIPolicyElement& root, Output& output) {
    const char* separator = "[\n";
    forEachElement(root, [&](const SQLPIPolicyElement& element, const Place& place) {
        output.write(fmt::format(
            R"({}{{"index":{},"parent":{},"depth":{},"elementType":{},"element":"{}","class":"{}","attributes":{},"text":{}}})",
            separator, place.index, place.parent.has_value() ? std::to_string(*place.parent) : "null", place.depth,
            static_cast<uint32_t>(element.elementType), sqlpiElementName(element.elementType),
            classNames[element.elementType], jsonText(typedAttributes(element)),
            element.text == nullptr ? "null" : jsonText(element.text)));
        separator = ",\n";
    });
    output.writeLine("\n]");
}

/* Deeper elements stand no further to the right, and tell their depth. */
std::string indented(const SQLPIPolicyElement& element, size_t depth) {
    constexpr size_t deepestIndent = 16;
    const std::string blanks(2 * std::min(depth, deepestIndent), ' ');
    const std::string name = sqlpiElementName(element.elementType);
    return depth <= deepestIndent ? blanks + name : fmt::format("{}[depth {}] {}", blanks, depth, name);
}

void writeTextTree(const SQLPIPolicyElement& root, Output& output) {
    constexpr size_t widestText = 60;
    output.writeLine(
        output.styled(Style::heading, "Type  " + padded("Element", 48) + padded("Class", 34) + "Attributes, text"));
    forEachElement(root, [&](const SQLPIPolicyElement& element, const Place& place) {
        std::string line = fmt::format("{:4}  ", static_cast<uint32_t>(element.elementType)) +
                           padded(indented(element, place.depth), 46) + "  " +
                           padded(classNames[element.elementType], 32) + "  ";
        const Json attributes = typedAttributes(element);
        for (const auto& [name, value] : attributes.members())
            line += fmt::format("{}={} ", name, printable(valueInWords(value)));
        if (element.text != nullptr && !isBlank(element.text))
            line += "\"" + cutToWidth(printable(element.text), widestText) + "\"";
        line.erase(line.find_last_not_of(' ') + 1);
        output.writeLine(line);
    });
}

int runTree(const std::string& path, const GlobalOptions& options, Output& output) {
    const DocumentSession session(options, output);
    const std::string document = readDocument(path, largestDocument);
    std::optional<Failure> failure;
    const sqlpiTree root = parseDocument(document, documentName(path), failure);
    if (failure.has_value()) {
        if (failure->hint.find("kelpolicy tree") != std::string::npos) failure->hint = "Correct the document there.";
        throw Failure(*failure);
    }
    if (output.isJson())
        writeJsonTree(*root, output);
    else
        writeTextTree(*root, output);
    return exitDone;
}

}  // namespace

void addTree(Command parent) {
    Command command = parent.command("tree", "Show the elements of a policy-language document as the engine sees them");
    const auto path = std::make_shared<std::string>();
    command.option("PATH", *path, "The document's file; \"-\" is standard input").required().notEmpty();
    command.footer(example("kelpolicy tree samples/backup-to-disk.xml") +
                   "\n\nType 0 is an element that the policy language does not know. With --json the elements are one "
                   "array in document order; \"parent\" is the index of the element around it.");
    command.runs([path](const GlobalOptions& options, Output& output) { return runTree(*path, options, output); });
}

}  // namespace kelpolicy
