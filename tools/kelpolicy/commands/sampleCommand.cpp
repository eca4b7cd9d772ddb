// kelpolicy sample, schema: what a new user starts from.
#include <string_view>

#include "commands/command.h"
#include "configuration/samples.h"
#include "sqlpiPolicySchemas.h"

namespace kelpolicy {
namespace {

using Texts = std::string_view[std::size(configurationTypes)]; /* in the order of configurationTypes */

const Texts& schemas() {
    static const Texts all = {{SQLPI_MWP_V1, SQLPI_MWP_V1_LENGTH},
                              {SQLPI_AUTO_BACKUP_V1, SQLPI_AUTO_BACKUP_V1_LENGTH},
                              {SQLPI_AUTO_REORG_V1, SQLPI_AUTO_REORG_V1_LENGTH},
                              {SQLPI_AUTO_RUNSTATS_V1, SQLPI_AUTO_RUNSTATS_V1_LENGTH}};
    return all;
}

/* The bytes and nothing else, fit for a file. */
void addText(Command parent, const char* name, const char* help, const char* shownExample, const Texts& texts) {
    Command command = parent.command(name, help);
    const auto type = std::make_shared<const ConfigurationType*>(nullptr);
    addTypeArgument(command, *type);
    command.footer(example(shownExample));
    command.runs([&texts, type](const GlobalOptions& /*globals*/, Output& output) {
        const std::string_view text = texts[*type - std::begin(configurationTypes)];
        if (output.isJson())
            output.writeJson({{"type", (*type)->name}, {"document", text}, {"bytes", text.size()}});
        else
            output.write(text);
        return int{exitDone};
    });
}

}  // namespace

void addSample(Command parent) {
    addText(parent, "sample", "Write a configuration document to start from", "kelpolicy sample windows > windows.xml",
            samples);
}

void addSchema(Command parent) {
    addText(parent, "schema", "Write the XML schema that configuration documents are checked with",
            "kelpolicy schema windows > windows.xsd", schemas());
}

}  // namespace kelpolicy
