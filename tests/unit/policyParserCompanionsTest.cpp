/* What a parse is made of: handlers, resolver, source, trace. */
#include <memory>
#include <stdexcept>
#include <tuple>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/BinInputStream.hpp>
#include <xercesc/util/PanicHandler.hpp>

#include "attributes.h"
#include "document/sqlpiParserMemory.h"
#include "parserSupport.h"
#include "trace.h"

namespace {

using kelhost::LogKind;

class ParserCompanions : public ParserTest {};

TEST_F(ParserCompanions, ThePanicHandlerLogsAndRethrows) {
    sqlpi_panic_handler handler;
    const auto panicInFlight = [&] {
        try {
            throw std::runtime_error("in flight");
        } catch (...) {
            handler.panic(xercesc::PanicHandler::Panic_NoTransService);
        }
    };
    EXPECT_THROW(panicInFlight(), std::runtime_error);
    EXPECT_EQ(
        logs.texts(LogKind::diagnostic),
        std::vector<std::string>{std::string("XMLRD Panic: ") + xercesc::PanicHandler::getPanicReasonString(
                                                                    xercesc::PanicHandler::Panic_NoTransService)});
    EXPECT_EQ(logs.records(LogKind::diagnostic).at(0).probe, 10U);
}

TEST_F(ParserCompanions, TheEntityResolverHasNothingToGive) {
    sqlpi_entity_resolver resolver;
    EXPECT_FALSE(resolver.wasAsked);
    EXPECT_EQ(resolver.resolveEntity(u"p", u"s"), nullptr);
    EXPECT_TRUE(resolver.wasAsked);
}

TEST_F(ParserCompanions, TheErrorHandlerForgetsOnReset) {
    sqlpi_error_handler handler;
    const xercesc::SAXParseException exception(u"m\u00E4ssage", u"", u"", 4, 7);
    handler.warning(exception);
    EXPECT_EQ(handler.errorFlag, 0U);
    handler.error(exception);
    EXPECT_EQ(handler.errorFlag, 1U);
    EXPECT_EQ(handler.problem.line, 4U);
    EXPECT_EQ(handler.problem.column, 7U);
    handler.resetErrors();
    EXPECT_EQ(handler.errorFlag, 0U);
    handler.fatalError(exception);
    EXPECT_EQ(handler.errorFlag, 1U);
    EXPECT_EQ(logs.texts(LogKind::diagnostic),
              (std::vector<std::string>{"XMLRD Warning: m\xC3\xA4ssage", "XMLRD Panic: m\xC3\xA4ssage",
                                        "XMLRD Panic: m\xC3\xA4ssage"}));
    EXPECT_EQ(logs.records(LogKind::diagnostic).front().probe, 10U) << "of the warning";
}

TEST_F(ParserCompanions, TheHandlerKeepsTrackOfTags) {
    sqlpi_sax_handler handler;
    handler.startDocument();
    Attributes attributes({});
    handler.startElement(u"PolicyDocument", attributes);
    EXPECT_EQ(handler.attributes, &attributes);
    handler.startElement(u"And", attributes);
    EXPECT_EQ(handler.currentType, SQLPI_ELEMENT_AND);
    EXPECT_EQ(handler.previousType, SQLPI_ELEMENT_POLICY_DOCUMENT);
    EXPECT_EQ(handler.lastAction, 0);
    EXPECT_EQ(handler.current->parent, handler.parentOfCurrent);
    handler.characters(nullptr, 5);
    handler.characters(u"", 0);
    handler.endElement(u"And");
    EXPECT_EQ(handler.currentType, SQLPI_ELEMENT_AND);
    EXPECT_EQ(handler.previousType, SQLPI_ELEMENT_AND) << "its start tag";
    EXPECT_EQ(handler.lastAction, 1);
    EXPECT_EQ(handler.previousAction, 0);
    EXPECT_EQ(handler.current, handler.root);
    handler.endElement(u"PolicyDocument");
    EXPECT_EQ(handler.currentType, SQLPI_ELEMENT_POLICY_DOCUMENT);
    EXPECT_EQ(handler.previousType, SQLPI_ELEMENT_AND);
    EXPECT_EQ(handler.previousAction, 1);
    EXPECT_EQ(handler.current, nullptr);
    handler.endElement(u"Stray");
    EXPECT_EQ(handler.currentType, SQLPI_ELEMENT_NONE);
    EXPECT_EQ(handler.previousType, SQLPI_ELEMENT_POLICY_DOCUMENT);
    handler.characters(u"nowhere", 7);
    handler.startElement(u"Or", attributes);
    EXPECT_EQ(handler.current, nullptr) << "an element with nothing around it is dropped";
    const Tree tree(handler.takeRoot());
    EXPECT_EQ(outline(tree.get()), "1(19)");
}

TEST_F(ParserCompanions, SomeNotificationsChangeNothing) {
    sqlpi_sax_handler handler;
    Attributes attributes({});
    handler.startDocument();
    handler.startElement(u"PolicyDocument", attributes);
    handler.startElement(u"And", attributes);
    handler.characters(u"te", 2);
    const auto state = [&handler] {
        return std::tuple(handler.currentType, handler.previousType, handler.lastAction, handler.previousAction,
                          handler.current, handler.parentOfCurrent, handler.root, handler.attributes);
    };
    const auto before = state();
    handler.ignorableWhitespace(u" \n", 2);
    EXPECT_EQ(state(), before);
    handler.endDocument();
    EXPECT_EQ(state(), before);
    handler.resetDocument();
    EXPECT_EQ(state(), before);
    handler.characters(u"xt", 2);
    handler.endElement(u"And");
    handler.endElement(u"PolicyDocument");
    const Tree tree(handler.takeRoot());
    EXPECT_EQ(outline(tree.get()), "1(19'text')");
}

TEST_F(ParserCompanions, TextComesInAnyPieces) {
    const std::u16string character = u"\U0001F600";
    std::u16string text = u"x";
    std::string expected = "x";
    for (int i = 0; i < 5000; ++i) {
        text += character;
        expected += "\U0001F600";
    }
    for (const size_t piece : {1, 2, 7, 999, 1024, 4096, 10001}) {
        sqlpi_sax_handler handler;
        handler.startDocument();
        Attributes none({});
        handler.startElement(u"PolicyDocument", none);
        for (size_t begin = 0; begin < text.size(); begin += piece)
            handler.characters(text.data() + begin, std::min(piece, text.size() - begin));
        handler.endElement(u"PolicyDocument");
        const Tree tree(handler.takeRoot());
        EXPECT_TRUE(tree->text == expected) << "in pieces of " << piece;
    }
}

TEST_F(ParserCompanions, ASecondDocumentBeginsAnew) {
    sqlpi_sax_handler handler;
    Attributes attributes({});
    handler.startDocument();
    handler.startElement(u"PolicyDocument", attributes);
    handler.startElement(u"And", attributes);
    const XMLCh half[] = {0xD83D};
    handler.characters(half, 1);
    handler.startDocument();
    EXPECT_EQ(handler.current, nullptr);
    EXPECT_EQ(handler.parentOfCurrent, nullptr);
    EXPECT_EQ(handler.root, nullptr);
    EXPECT_EQ(handler.attributes, nullptr);
    EXPECT_EQ(handler.currentType, SQLPI_ELEMENT_NONE);
    EXPECT_EQ(handler.previousType, SQLPI_ELEMENT_NONE);
    EXPECT_EQ(handler.lastAction, 0);
    EXPECT_EQ(handler.previousAction, 0);
    EXPECT_THROW(handler.startElement(u"And", attributes), xercesc::SAXException) << "a document element again";
    handler.startDocument();
    handler.startElement(u"PolicyDocument", attributes);
    handler.characters(u"text", 4);
    handler.endElement(u"PolicyDocument");
    const Tree tree(handler.takeRoot());
    EXPECT_EQ(outline(tree.get()), "1'text'") << "nothing of the first";
}

TEST_F(ParserCompanions, SetPolicyElementMakesTheElementOfAName) {
    sqlpi_sax_handler handler;
    Attributes none({});
    Attributes offline({{u"mode", u"offline"}, {u"other", u""}});
    char document[] = "PolicyDocument";
    char backup[] = "kel:DBBackup";
    char other[] = "kel:dbbackup";
    handler.startDocument();
    EXPECT_THROW(handler.setPolicyElement(backup, offline), xercesc::SAXException) << "no document element";
    handler.startDocument();
    handler.setPolicyElement(document, none);
    handler.setPolicyElement(backup, offline);
    EXPECT_EQ(handler.currentType, SQLPI_ELEMENT_DB_BACKUP);
    EXPECT_EQ(dynamic_cast<SQLPIBackupAction&>(*handler.current).mode, 1);
    handler.setPolicyElement(other, none);
    EXPECT_EQ(handler.currentType, SQLPI_ELEMENT_NONE);
    const Tree tree(handler.takeRoot());
    EXPECT_EQ(outline(tree.get()), "1(88(0))");
}

TEST_F(ParserCompanions, ANameThatIsLongerThanEveryOtherIsNone) {
    sqlpi_sax_handler handler;
    Attributes none({});
    handler.startDocument();
    handler.startElement(u"PolicyDocument", none);
    for (const size_t length : {62U, 63U, 64U, 65U, 5000U}) {
        handler.startElement((u"And" + std::u16string(length, u'\u20AC')).c_str(), none);
        EXPECT_EQ(handler.currentType, SQLPI_ELEMENT_NONE) << length;
        handler.endElement(u"x");
    }
    delete handler.takeRoot();
}

TEST_F(ParserCompanions, TheDocumentIsKnownAsPolicyMB) {
    sqlpi_mem_manager manager(nullptr);
    sqlpi_call_memory memory(manager, 1 << 20);
    const sqlpi_document_source source("<a/>", memory);
    EXPECT_EQ(std::u16string_view(source.getSystemId()), u"policyMB");
}

/* Notes how a document is read. */
class Watcher final : public sqlpiReadWatcher {
public:
    void beforeRead(size_t byteCount) override {
        notes.push_back(byteCount);
        if (notes.size() == most) throw std::runtime_error("enough");
    }
    std::vector<size_t> notes;
    size_t most = SIZE_MAX;
};

TEST_F(ParserCompanions, ADocumentIsReadInPieces) {
    sqlpi_mem_manager manager(nullptr);
    sqlpi_call_memory memory(manager, 1 << 20);
    const std::string document(2 * sqlpi_document_source::piece + 5, 'd');
    Watcher watcher;
    const sqlpi_document_source source(document, memory, u"policyMB", &watcher);
    const auto readAll = [&] {
        const std::unique_ptr<xercesc::BinInputStream> stream(source.makeStream());
        std::string all;
        XMLByte bytes[48 * 1024];
        while (const XMLSize_t length = stream->readBytes(bytes, sizeof bytes))
            all.append(reinterpret_cast<const char*>(bytes), length);
        return all;
    };
    EXPECT_EQ(readAll(), document);
    EXPECT_EQ(watcher.notes, (std::vector<size_t>{0, sqlpi_document_source::piece, sqlpi_document_source::piece, 5}));
    watcher.notes.clear();
    watcher.most = 2;
    EXPECT_THROW(readAll(), std::runtime_error);
}

/* --- trace -------------------------------------------------------------------------------------------------------- */

TEST_F(ParserCompanions, TheTraceFollowsItsFlags) {
    using Event = kelhost::LogRecord::Event;
    for (uint32_t flags = 0; flags < 8; ++flags) {
        SCOPED_TRACE(flags);
        logs.clear();
        kelhost::setTraceFlags(flags);
        parseTree("<PolicyDocument><And></And><other>");
        kelhost::setTraceFlags(0);
        std::vector<std::string> seen;
        for (const auto& record : logs.records(LogKind::trace)) {
            if (record.event == Event::entry) seen.push_back("entry " + record.function);
            if (record.event == Event::exit)
                seen.push_back("exit " + record.function + " " + std::to_string(record.code));
            if (record.event == Event::data)
                seen.push_back(record.function + " " + std::to_string(record.probe) + " " + record.items.at(0));
        }
        std::vector<std::string> expected;
        if ((flags & PDT_FLAG_ENTRY) != 0) expected.emplace_back("entry sqlpi_policy_parse");
        if ((flags & PDT_FLAG_DATA) != 0)
            expected.insert(
                expected.end(),
                {"sqlpi_sax_handler::startElement 10 PolicyDocument", "sqlpi_sax_handler::startElement 10 And",
                 "sqlpi_sax_handler::endElement 10 And", "sqlpi_sax_handler::startElement 10 NONE"});
        if ((flags & PDT_FLAG_EXIT) != 0) expected.emplace_back("exit sqlpi_policy_parse 3");
        EXPECT_EQ(seen, expected);
    }
}

}  // namespace
