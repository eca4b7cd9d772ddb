/* What a command says: tables for a person, JSON for a program, failures on standard error. */
#ifndef KELPOLICY_OUTPUT_H
#define KELPOLICY_OUTPUT_H

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "console/failure.h"
#include "console/json.h"

namespace kelpolicy {

/* How a command ends. */
enum ExitStatus : int {
    exitDone = 0,
    exitFailed = 1,  /* refused or failed */
    exitUsage = 2,   /* the command line makes no sense */
    exitFinding = 3, /* done; the answer is "outside" or "there are findings" */
};

enum class Style { heading, quiet, good, warning, bad };

class Output {
public:
    explicit Output(bool json);

    bool isJson() const noexcept { return json_; }

    /* Standard output. What comes of a document goes through printable() first. */
    void write(std::string_view text);
    void writeLine(std::string_view text = {});
    void writeJson(const Json& value);

    /* The bytes as they are, into a file or a pipe; a terminal is shown what they are, always in whole lines. */
    void writeDocument(std::string_view document, bool inWholeLines = false);

    /* Rows of cells in aligned columns; the last column may be of any length. */
    void writeTable(const std::vector<std::vector<std::string>>& rows);

    /* The text with colour where standard output is a terminal that wants it. */
    std::string styled(Style style, std::string_view text) const;

    /* Standard error, without passwords. In JSON mode each is one line with an object, {"note":...} or {"error":{...}}.
     */
    void note(std::string_view remark);
    void report(const Failure& whole);
    /* A failure of a document as a compiler prints it, in words only. */
    void complain(const Failure& whole);

    /* Throws Failure when not all of standard output could be written. */
    void finish();

private:
    void writePart(std::string_view text, bool hasStyles);
    void flush();

    bool json_;
    bool colour_;
    int writeFailure_ = 0; /* reason of the first one */
};

/* The one way to standard output and standard error. Nothing of the text acts on a terminal but, where it may have
 * them, the styles of Output; what would is shown as printable() shows it. */
void writeText(FILE* file, std::string_view text, bool hasStyles = false);

/* {"message","hint","sqlcode","sqlstate"}, and what else the failure tells. */
Json errorObject(const Failure& failure);

/* JSON text of a value on one line; bytes that are not UTF-8 become the replacement character, and characters that
 * could act on a terminal are escaped. */
std::string jsonText(const Json& value, int indent = -1);

/* A value in words: a text in quotes, as it is. */
std::string valueInWords(const Json& value);

}  // namespace kelpolicy

#endif
