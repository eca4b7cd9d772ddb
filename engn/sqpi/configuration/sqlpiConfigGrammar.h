/* The schemas of configuration documents, parsed for the process and not again for each document. Internal. */
#ifndef SQLPI_CONFIG_GRAMMAR_H
#define SQLPI_CONFIG_GRAMMAR_H

#include <cstddef>
#include <xercesc/framework/XMLGrammarPool.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/Locator.hpp>
#include <xercesc/util/SynchronizedStringPool.hpp>

/* A kind of configuration document, by the place of its schema. */
enum sqlpiConfigKind { SQLPI_CONFIG_MW, SQLPI_CONFIG_BACKUP, SQLPI_CONFIG_REORG, SQLPI_CONFIG_RUNSTATS };
constexpr size_t SQLPI_CONFIG_KINDS = 4;

struct sqlpiSharedGrammar;

/* Validation against the grammar that the parser was made with. */
void sqlpiSetUpValidation(xercesc::XercesDOMParser& parser);

/* The grammar of a kind, for one parser at a time to work with. Built by the first use; every later one finds it built,
 * on any number of threads. The XML library's list types note the list that they judge, so of a kind with lists each
 * use has a grammar to itself, and there are as many as were in use at once. Nothing waits for anything, so the child
 * of a fork finds every grammar that was not in use. REQUIRES: the XML platform is held. */
class sqlpiGrammarUse {
public:
    explicit sqlpiGrammarUse(sqlpiConfigKind kind) noexcept;
    ~sqlpiGrammarUse();
    sqlpiGrammarUse(const sqlpiGrammarUse&) = delete;
    sqlpiGrammarUse& operator=(const sqlpiGrammarUse&) = delete;

    /* Null when it could not be built; the next use tries again. */
    const sqlpiSharedGrammar* get() const noexcept { return grammar_; }

private:
    sqlpiConfigKind kind_;
    sqlpiSharedGrammar* grammar_;
};

/* The namespaces that one document names, beside those of its grammar. The XML library's work for them grows with their
 * square, so a document that names more than `most`, the same ones again included, ends its parse with a
 * SAXParseException. */
class sqlpiCallNames : public xercesc::XMLSynchronizedStringPool {
public:
    static constexpr size_t most = 256;

    sqlpiCallNames(const xercesc::XMLStringPool& shared, xercesc::MemoryManager& memory)
        : XMLSynchronizedStringPool(&shared, 29, &memory) {}
    unsigned int addOrFind(const XMLCh* name) override;
    void setLocator(const xercesc::Locator& locator) noexcept { locator_ = &locator; }

private:
    size_t asked_ = 0;
    const xercesc::Locator* locator_ = nullptr;
};

/* What one parser is handed: the shared grammar, beside names that belong to this parser alone. Handed the shared pool
 * itself, each parser would leave the namespaces of its document there. */
class sqlpiCallGrammars : public xercesc::XMLGrammarPool {
public:
    sqlpiCallGrammars(const sqlpiSharedGrammar& shared, xercesc::MemoryManager& memory);

    /* Where the parser is in its document. */
    void setLocator(const xercesc::Locator& locator) noexcept { names_.setLocator(locator); }

    bool cacheGrammar(xercesc::Grammar* /*grammar*/) override { return false; }
    xercesc::Grammar* retrieveGrammar(xercesc::XMLGrammarDescription* description) override;
    xercesc::Grammar* orphanGrammar(const XMLCh* /*nameSpace*/) override { return nullptr; }
    xercesc::RefHashTableOfEnumerator<xercesc::Grammar> getGrammarEnumerator() const override;
    bool clear() override { return false; }
    void lockPool() override {}
    void unlockPool() override {}
    xercesc::DTDGrammar* createDTDGrammar() override;
    xercesc::SchemaGrammar* createSchemaGrammar() override;
    xercesc::XMLDTDDescription* createDTDDescription(const XMLCh* systemId) override;
    xercesc::XMLSchemaDescription* createSchemaDescription(const XMLCh* nameSpace) override;
    xercesc::XSModel* getXSModel(bool& wasChanged) override;
    xercesc::XMLStringPool* getURIStringPool() override { return &names_; }
    void serializeGrammars(xercesc::BinOutputStream* /*stream*/) override {}
    void deserializeGrammars(xercesc::BinInputStream* /*stream*/) override {}

private:
    const sqlpiSharedGrammar& shared_;
    sqlpiCallNames names_;
};

#endif
