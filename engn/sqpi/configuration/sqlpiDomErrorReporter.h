/* What the XML parser reports about a configuration document. Internal. */
#ifndef SQLPI_DOM_ERROR_REPORTER_H
#define SQLPI_DOM_ERROR_REPORTER_H

#include <cstddef>
#include <cstdint>
#include <xercesc/sax/ErrorHandler.hpp>

constexpr size_t SQLPI_ERROR_MESSAGE_SIZE = 4096;

/* The last mistake that any call found, for whoever looks at the process from outside. Written under a lock, read by
 * nothing here. */
extern uint32_t errLineNo;
extern uint32_t errColumnNo;
extern char errMsgBuffer[SQLPI_ERROR_MESSAGE_SIZE];

/* Where a document is wrong, and why. */
struct sqlpiDocumentMistake {
    uint32_t line = 0; /* from 1; 0: nowhere in particular */
    uint32_t column = 0;
    char message[SQLPI_ERROR_MESSAGE_SIZE] = ""; /* terminated UTF-8 */
};

/* Keeps the last report, here and in the globals. */
class DOMTreeErrorReporter : public xercesc::ErrorHandler {
public:
    void warning(const xercesc::SAXParseException& exception) override;
    void error(const xercesc::SAXParseException& exception) override;
    void fatalError(const xercesc::SAXParseException& exception) override;
    void resetErrors() override {}

    bool foundMistake() const noexcept { return foundMistake_; }
    const sqlpiDocumentMistake& last() const noexcept { return last_; } /* warnings count */

private:
    void keep(const xercesc::SAXParseException& exception) noexcept;

    bool foundMistake_ = false;
    sqlpiDocumentMistake last_;
};

#endif
