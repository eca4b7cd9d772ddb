#include "preparer.h"

#include <algorithm>
#include <map>
#include <optional>

#include "generatedCode.h"
#include "hostVariables.h"
#include "sourceScanner.h"
#include "statementReader.h"

namespace kelprep {
namespace {

using kelhost::BindVariable;
using kelhost::SectionKind;

constexpr size_t mostErrors = 20;

struct Section {
    SectionKind kind = SectionKind::statement;
    std::string text{};
    std::optional<std::vector<BindVariable>> inputs{};
    std::optional<std::vector<BindVariable>> outputs{};
    std::string inputCode{}; /* of a query of its own: what OPEN hands over */
};

struct Named {
    size_t section = 0; /* from 1 */
    Place place{};
    bool prepared = false; /* of a statement: there is a PREPARE */
};

struct Uses {
    std::vector<BindVariable> shapes{};
    std::string code{};

    void add(const VariableUse& use) {
        shapes.push_back(use.shape);
        code += (code.empty() ? "" : ", ") + use.code;
    }
};

class Preparer {
public:
    Preparer(std::string_view source, std::string_view name, std::vector<SourceError>& errors) noexcept
        : source_(source), name_(name), errors_(errors) {}

    PreparedSource run() {
        try {
            SourceScanner scanner(source_);
            walk(scanner);
            body_ += source_.substr(copied_);
            finish();
        } catch (const SourceError& error) {
            errors_.push_back(error);
        }
        return std::move(result_);
    }

private:
    void walk(SourceScanner& scanner) {
        Token token;
        EmbeddedStatement statement;
        while (scanner.next(token)) {
            if (token.is("EXEC") && scanner.takeEmbedded(token, statement)) {
                body_ += source_.substr(copied_, statement.begin - copied_);
                prepareOrReport(statement);
                // The lines behind keep their numbers.
                const std::string_view replaced = source_.substr(statement.begin, statement.end - statement.begin);
                body_.append(static_cast<size_t>(std::count(replaced.begin(), replaced.end(), '\n')), '\n');
                copied_ = statement.end;
                declaration_.clear();
                continue;
            }
            if (inDeclareSection_) declare(token);
            if (token.is("{")) ++depth_;
            if (token.is("}") && depth_ > 0) variables_.leaveBlock(--depth_);
        }
        if (inDeclareSection_) throw SourceError(declareSectionPlace_, "the declare section has no end");
    }

    // A wrong statement does not keep the others from being looked at.
    template <class Work>
    void report(Work work) {
        try {
            work();
        } catch (const SourceError& error) {
            errors_.push_back(error);
            if (errors_.size() == mostErrors) throw SourceError(error.place(), "there are too many errors");
        }
    }

    void prepareOrReport(const EmbeddedStatement& statement) {
        report([&] {
            StatementReader reader(statement);
            prepare(reader);
        });
    }

    void declare(const Token& token) {
        if (!token.is(";")) return declaration_.push_back(token);
        report([&] { variables_.declare(declaration_, token.place, depth_); });
        declaration_.clear();
    }

    void prepare(StatementReader& reader) {
        const Place place = statementPlace_ = reader.place();
        if (reader.accept("BEGIN")) return beginDeclareSection(reader, place);
        if (reader.accept("END")) return endDeclareSection(reader);
        if (inDeclareSection_) throw SourceError(place, "only declarations stand in a declare section");
        const bool isDeclare = reader.accept("DECLARE");
        if (isDeclare && reader.accept("PACKAGE")) return declarePackage(reader, place);
        if (result_.bindFile.package.empty()) {
            throw SourceError(place,
                              "\"EXEC SQL DECLARE PACKAGE collection.name\" must come before the first statement");
        }
        if (isDeclare) return declareCursor(reader);
        if (reader.accept("OPEN")) return open(reader);
        if (reader.accept("FETCH")) return fetch(reader);
        if (reader.accept("CLOSE")) return close(reader);
        if (reader.accept("PREPARE")) return prepareDynamic(reader);
        if (reader.accept("EXECUTE")) return execute(reader);
        runStatic(reader);
    }

    void beginDeclareSection(StatementReader& reader, Place place) {
        reader.expect("DECLARE");
        reader.expect("SECTION");
        reader.expectEnd();
        if (inDeclareSection_) throw SourceError(place, "the declare section before has no end");
        inDeclareSection_ = true;
        declareSectionPlace_ = place;
    }

    void endDeclareSection(StatementReader& reader) {
        reader.expect("DECLARE");
        reader.expect("SECTION");
        reader.expectEnd();
        if (!inDeclareSection_) reader.fail("no declare section has begun");
        inDeclareSection_ = false;
        if (!declaration_.empty()) throw SourceError(declaration_.front().place, "the declaration has no semicolon");
    }

    void declarePackage(StatementReader& reader, Place place) {
        kelhost::BindFile& file = result_.bindFile;
        if (!file.package.empty()) throw SourceError(place, "the package is declared already");
        const Token& collection = reader.name("the collection's name");
        reader.expect(".");
        const Token& package = reader.name("the package's name");
        reader.expectEnd();
        for (const Token* name : {&collection, &package}) {
            if (!kelhost::isPackageName(name->text)) {
                throw SourceError(name->place, "a name has 1 to 128 letters, digits and underscores");
            }
        }
        file.collection = collection.text;
        file.package = package.text;
    }

    void declareCursor(StatementReader& reader) {
        const Token& cursor = reader.name("the cursor's name, or PACKAGE,");
        reader.expect("CURSOR");
        reader.expect("FOR");
        const Token* first = reader.peek();
        const std::string word = first == nullptr ? "" : upperCase(first->text);
        Named& named = cursors_[upperCase(cursor.text)];
        if (named.section != 0) {
            throw SourceError(cursor.place, "the cursor \"" + std::string(cursor.text) + "\" is declared already");
        }
        if (word == "SELECT" || word == "WITH" || word == "VALUES") {
            Section section{.kind = SectionKind::cursor};
            const Uses inputs = readStatementText(reader, section.text);
            section.inputs = inputs.shapes;
            section.inputCode = inputs.code;
            named.section = addSection(std::move(section));
        } else {
            const Token& statement = reader.name("a query, or the name of a prepared statement,");
            reader.expectEnd();
            named.section = dynamicSection(statement).section;
        }
    }

    void open(StatementReader& reader) {
        Section& section = cursorSection(reader);
        if (section.kind == SectionKind::cursor) {
            reader.expectEnd();
            return call("SQLA_CALL_OPEN", section.inputCode, "");
        }
        const Place place = reader.place();
        const Uses inputs = readUsing(reader);
        keepShapes(section.inputs, inputs.shapes, place);
        call("SQLA_CALL_OPEN", inputs.code, "");
    }

    void fetch(StatementReader& reader) {
        Section& section = cursorSection(reader);
        reader.expect("INTO");
        const Place place = reader.place();
        const Uses outputs = readVariables(reader, useAsOutput);
        reader.expectEnd();
        keepShapes(section.outputs, outputs.shapes, place);
        call("SQLA_CALL_FETCH", "", outputs.code);
    }

    void close(StatementReader& reader) {
        cursorSection(reader);
        reader.expectEnd();
        call("SQLA_CALL_CLOSE", "", "");
    }

    void prepareDynamic(StatementReader& reader) {
        Named& statement = dynamicSection(reader.name("the statement's name"));
        statement.prepared = true;
        current_ = statement.section;
        reader.expect("FROM");
        const Token& text = reader.hostVariable();
        reader.expectEnd();
        const VariableUse use = useAsInput(variables_.find(text), nullptr, text.place);
        if (use.shape.type != kelhost::HostType::varchar) {
            throw SourceError(text.place, "a statement is prepared from a text");
        }
        body_ += prepareCall(current_, use.code);
    }

    void execute(StatementReader& reader) {
        const Token& name = reader.name("the statement's name");
        current_ = dynamicSection(name).section;
        const Place place = reader.place();
        const Uses inputs = readUsing(reader);
        keepShapes(sections_[current_ - 1].inputs, inputs.shapes, place);
        call("SQLA_CALL_EXECUTE", inputs.code, "");
    }

    void runStatic(StatementReader& reader) {
        static constexpr std::string_view known[] = {"INSERT", "UPDATE", "DELETE", "MERGE", "CALL"};
        static constexpr std::string_view unitControl[] = {"COMMIT", "ROLLBACK", "SAVEPOINT", "RELEASE"};
        const Token* first = reader.peek();
        if (first == nullptr) reader.fail("the statement is empty");
        const std::string word = upperCase(first->text);
        const auto isOneOf = [&](const auto& words) {
            return std::find(std::begin(words), std::end(words), word) != std::end(words);
        };
        if (word == "SELECT") reader.fail("a query is read through a cursor: DECLARE name CURSOR FOR SELECT ...");
        if (isOneOf(unitControl)) reader.fail("the unit of work belongs to who calls: it is not ended here");
        if (!isOneOf(known))
            reader.fail("\"" + std::string(first->text) + "\" begins no statement that can be prepared");
        Section section{.kind = SectionKind::statement};
        const Uses inputs = readStatementText(reader, section.text);
        section.inputs = inputs.shapes;
        current_ = addSection(std::move(section));
        call("SQLA_CALL_EXECUTE", inputs.code, "");
    }

    // The statement as the database gets it: blanks and comments are one blank, host variables parameter markers.
    Uses readStatementText(StatementReader& reader, std::string& text) {
        Uses inputs;
        while (const Token* token = reader.peek()) {
            if (token->is("?")) reader.fail("'?' is for prepared statements; a host variable is :name");
            if (!text.empty() && token->blankBefore) text += ' ';
            if (token->kind == TokenKind::hostVariable) {
                addVariable(inputs, reader, useAsInput);
                text += '?';
            } else {
                text += token->text;
                reader.skip();
            }
        }
        return inputs;
    }

    template <class Use>
    void addVariable(Uses& uses, StatementReader& reader, Use use) {
        if (uses.shapes.size() == kelhost::mostBindVariables) {
            reader.fail("the statement has more than " + std::to_string(kelhost::mostBindVariables) +
                        " host variables");
        }
        uses.add(readVariable(reader, use));
    }

    template <class Use>
    VariableUse readVariable(StatementReader& reader, Use use) {
        const Token& name = reader.hostVariable();
        const HostVariable& variable = variables_.find(name);
        const Token* next = reader.peek();
        if (next != nullptr && next->is(".") && !next->blankBefore) reader.fail("a host variable is a plain name");
        const bool hasIndicator = next != nullptr && next->kind == TokenKind::hostVariable;
        return use(variable, hasIndicator ? &variables_.find(reader.hostVariable()) : nullptr, name.place);
    }

    template <class Use>
    Uses readVariables(StatementReader& reader, Use use) {
        Uses uses;
        do {
            addVariable(uses, reader, use);
        } while (reader.accept(","));
        return uses;
    }

    Uses readUsing(StatementReader& reader) {
        Uses uses;
        if (reader.accept("USING")) uses = readVariables(reader, useAsInput);
        reader.expectEnd();
        return uses;
    }

    Section& cursorSection(StatementReader& reader) {
        const Token& name = reader.name("the cursor's name");
        const auto found = cursors_.find(upperCase(name.text));
        if (found == cursors_.end() || found->second.section == 0) {
            throw SourceError(name.place, "the cursor \"" + std::string(name.text) + "\" is not declared");
        }
        current_ = found->second.section;
        return sections_[current_ - 1];
    }

    Named& dynamicSection(const Token& name) {
        Named& statement = statements_[upperCase(name.text)];
        if (statement.section == 0) {
            statement.place = name.place;
            statement.section = addSection({.kind = SectionKind::dynamic});
        }
        return statement;
    }

    size_t addSection(Section section) {
        if (sections_.size() == kelhost::mostBindSections) {
            throw SourceError(statementPlace_,
                              "the source has more than " + std::to_string(kelhost::mostBindSections) + " sections");
        }
        sections_.push_back(std::move(section));
        return sections_.size();
    }

    // A section has one shape: the database's side is prepared for it.
    static void keepShapes(std::optional<std::vector<BindVariable>>& kept, const std::vector<BindVariable>& shapes,
                           Place place) {
        if (kept && *kept != shapes) {
            throw SourceError(place, "an earlier statement uses host variables of other types here");
        }
        kept = shapes;
    }

    void call(std::string_view kind, const std::string& inputs, const std::string& outputs) {
        body_ += sectionCall(kind, current_, inputs, outputs);
    }

    // What the source as a whole lacks is told when nothing else is wrong.
    void finish() {
        if (!errors_.empty()) return;
        for (const auto& [name, statement] : statements_) {
            if (!statement.prepared)
                throw SourceError(statement.place, "the statement \"" + name + "\" is never prepared");
        }
        if (result_.bindFile.package.empty()) throw SourceError({}, "the source declares no package");
        if (sections_.empty()) throw SourceError({}, "the source has no statement");
        for (Section& section : sections_) {
            result_.bindFile.sections.push_back({section.kind, std::move(section.text),
                                                 section.inputs.value_or(std::vector<BindVariable>{}),
                                                 section.outputs.value_or(std::vector<BindVariable>{})});
        }
        if (kelhost::writeBindFile(result_.bindFile).size() > kelhost::mostBindFileBytes) {
            throw SourceError({}, "the statements are too long for a bind file");
        }
        result_.code = generatedHead(result_.bindFile, name_) + body_;
    }

    std::string_view source_;
    std::string_view name_;
    std::vector<SourceError>& errors_;
    PreparedSource result_{};
    std::string body_{};
    size_t copied_ = 0; /* so much of the source is in the body */
    size_t depth_ = 0;
    bool inDeclareSection_ = false;
    Place declareSectionPlace_{};
    std::vector<Token> declaration_{};
    HostVariables variables_{};
    std::vector<Section> sections_{};
    Place statementPlace_{}; /* of the statement at hand */
    size_t current_ = 0;     /* its section */
    std::map<std::string, Named> cursors_{};
    std::map<std::string, Named> statements_{};
};

}  // namespace

PreparedSource prepareSource(std::string_view source, std::string_view name, std::vector<SourceError>& errors) {
    return Preparer(source, name, errors).run();
}

}  // namespace kelprep
