/* What the parser reports of a configuration document, and what of it can be seen from outside. */
#include "configuration/sqlpiDomErrorReporter.h"

#include <cstring>
#include <string>
#include <xercesc/sax/SAXParseException.hpp>

#include "document/sqlpiXmlPlatform.h"
#include "unit/servicesSupport.h"

namespace {

using services::LogRecord;
using xercesc::SAXParseException;

class DomErrorReporter : public services::DocumentTest {
protected:
    DomErrorReporter() {
        EXPECT_TRUE(sqlpiHoldXmlPlatform());
        errLineNo = errColumnNo = 0;
        std::memset(errMsgBuffer, 0, sizeof errMsgBuffer);
    }
    static SAXParseException at(XMLFileLoc line, XMLFileLoc column, const XMLCh* why) {
        return {why, u"", u"", line, column};
    }
    /* Demands that the report is kept, in the reporter and for all to see. */
    void expectKept(uint32_t line, uint32_t column, const std::string& message) const {
        EXPECT_EQ(reporter_.last().line, line);
        EXPECT_EQ(reporter_.last().column, column);
        EXPECT_EQ(reporter_.last().message, message);
        EXPECT_EQ(errLineNo, line);
        EXPECT_EQ(errColumnNo, column);
        EXPECT_EQ(errMsgBuffer, message);
    }

    DOMTreeErrorReporter reporter_;
};

static_assert(sizeof errMsgBuffer == 4096);

TEST_F(DomErrorReporter, ErrorsAreKeptAndNotLogged) {
    EXPECT_FALSE(reporter_.foundMistake());
    reporter_.error(at(3, 14, u"first"));
    expectKept(3, 14, "first");
    EXPECT_TRUE(reporter_.foundMistake());
    reporter_.fatalError(at(15, 92, u"sec\u00F6nd"));
    expectKept(15, 92, "sec\xC3\xB6nd");
    EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>());
}

TEST_F(DomErrorReporter, WarningsAreKeptAndLogged) {
    reporter_.warning(at(6, 5, u"take care"));
    expectKept(6, 5, "take care");
    EXPECT_FALSE(reporter_.foundMistake());
    EXPECT_EQ(
        takeDiagnosticLog(),
        (std::vector<LogRecord>{{PD_WARNING, "Validation Warning at Line number: 6 Column: 5 Message: take care"}}));
}

TEST_F(DomErrorReporter, ResettingForgetsNothing) {
    reporter_.error(at(3, 14, u"first"));
    reporter_.resetErrors();
    expectKept(3, 14, "first");
    EXPECT_TRUE(reporter_.foundMistake());
}

TEST_F(DomErrorReporter, MessagesAndPlacesStayInTheirFields) {
    for (const size_t length : {size_t{0}, size_t{4095}, size_t{4096}, size_t{100000}}) {
        reporter_.error(at(1, 1, std::u16string(length, u'm').c_str()));
        expectKept(1, 1, std::string(std::min(length, size_t{4095}), 'm'));
    }
    reporter_.error(at(1, 1, (std::u16string(4094, u'm') + u"\u00F6").c_str()));
    expectKept(1, 1, std::string(4094, 'm'));
    reporter_.error(at(XMLFileLoc{1} << 40U, XMLFileLoc(-1), nullptr));
    expectKept(2147483647, 2147483647, "");
}

}  // namespace
