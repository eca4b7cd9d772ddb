/* What the XML library may ask of the grammars that a parser is handed: nothing of one call reaches another. */
#include "configuration/sqlpiConfigGrammar.h"

#include <memory>
#include <xercesc/framework/XMLDTDDescription.hpp>
#include <xercesc/framework/XMLSchemaDescription.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/validators/DTD/DTDGrammar.hpp>
#include <xercesc/validators/schema/SchemaGrammar.hpp>

#include "document/sqlpiXmlPlatform.h"
#include "unit/balance.h"

namespace {

class ConfigGrammar : public BalancedTest {
protected:
    const bool isHeld_ = sqlpiHoldXmlPlatform();
    xercesc::MemoryManager& memory_ = *xercesc::XMLPlatformUtils::fgMemoryManager;
    const sqlpiGrammarUse use_{SQLPI_CONFIG_BACKUP};
    const sqlpiSharedGrammar& shared_ = *use_.get();
    sqlpiCallGrammars grammars_{shared_, memory_};

    xercesc::Grammar* find(const XMLCh* nameSpace) {
        const std::unique_ptr<xercesc::XMLSchemaDescription> wanted(grammars_.createSchemaDescription(nameSpace));
        return grammars_.retrieveGrammar(wanted.get());
    }
};

const XMLCh* const ours = u"http://kelpolicy.example/xmlns/prod/kel/autonomic/config";

TEST_F(ConfigGrammar, OnlyTheSharedGrammarIsFound) {
    EXPECT_NE(find(ours), nullptr);
    EXPECT_EQ(find(u"urn:other"), nullptr);
    int count = 0;
    for (auto all = grammars_.getGrammarEnumerator(); all.hasMoreElements(); all.nextElement()) ++count;
    EXPECT_EQ(count, 1);
}

TEST_F(ConfigGrammar, NothingIsTakenInOrGivenAway) {
    const std::unique_ptr<xercesc::SchemaGrammar> schema(grammars_.createSchemaGrammar());
    const std::unique_ptr<xercesc::DTDGrammar> declarations(grammars_.createDTDGrammar());
    ASSERT_NE(schema, nullptr);
    ASSERT_NE(declarations, nullptr);
    EXPECT_FALSE(grammars_.cacheGrammar(schema.get()));
    EXPECT_FALSE(grammars_.cacheGrammar(declarations.get()));
    EXPECT_EQ(grammars_.orphanGrammar(ours), nullptr);
    EXPECT_FALSE(grammars_.clear());
    grammars_.lockPool();
    grammars_.unlockPool();
    grammars_.serializeGrammars(nullptr);
    grammars_.deserializeGrammars(nullptr);
    EXPECT_NE(find(ours), nullptr) << "it is there as before";
    bool wasChanged = true;
    EXPECT_EQ(grammars_.getXSModel(wasChanged), nullptr);
    EXPECT_FALSE(wasChanged);
}

TEST_F(ConfigGrammar, DescriptionsCarryTheirNames) {
    const std::unique_ptr<xercesc::XMLDTDDescription> declarations(grammars_.createDTDDescription(u"system"));
    EXPECT_EQ(std::u16string(declarations->getSystemId()), u"system");
    const std::unique_ptr<xercesc::XMLSchemaDescription> schema(grammars_.createSchemaDescription(ours));
    EXPECT_EQ(std::u16string(schema->getTargetNamespace()), ours);
}

TEST_F(ConfigGrammar, NamesOfACallStayInIt) {
    const unsigned int number = grammars_.getURIStringPool()->addOrFind(u"urn:of-this-call");
    EXPECT_EQ(grammars_.getURIStringPool()->addOrFind(u"urn:of-this-call"), number);
    EXPECT_TRUE(grammars_.getURIStringPool()->exists(u"urn:of-this-call"));
    sqlpiCallGrammars other(shared_, memory_);
    EXPECT_FALSE(other.getURIStringPool()->exists(u"urn:of-this-call"));
}

}  // namespace
