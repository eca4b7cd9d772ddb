/* The catalogues: every name, its value and its class. */
#include <string>
#include <type_traits>
#include <typeinfo>

#include "balance.h"
#include "model/sqlpiPolicyCatalogue.h"
#include "trees.h"

namespace {

class PolicyCatalogue : public BalancedTest {};

struct ElementCase {
    uint32_t value;
    const char* name;
    bool (*isOfClass)(SQLPIPolicyElement*);
};

template <class Element>
bool isExactly(SQLPIPolicyElement* element) {
    return typeid(*element) == typeid(Element);
}

/* Written down again on purpose: the catalogue is a contract with every stored document. */
const ElementCase elementCases[] = {
    {1, "PolicyDocument", isExactly<SQLPIPolicyDocument>},
    {2, "Metadata", isExactly<SQLPIMetadata>},
    {3, "Description", isExactly<SQLPIDescription>},
    {4, "DecisionSection", isExactly<SQLPIDecisionSection>},
    {5, "PreconditionSection", isExactly<SQLPIPreconditionSection>},
    {6, "PolicySection", isExactly<SQLPIPolicySection>},
    {7, "MED_ScopeName", isExactly<SQLPIMEDScopeName>},
    {8, "AbstractSensorValue", isExactly<SQLPIASValue>},
    {9, "AbstractSensorName", isExactly<SQLPIASName>},
    {10, "ResultValue", isExactly<SQLPIResultValue>},
    {11, "ResultName", isExactly<SQLPIResultName>},
    {12, "DecisionName", isExactly<SQLPIDecisionName>},
    {13, "Precondition", isExactly<SQLPIPrecondition>},
    {14, "DecisionReference", isExactly<SQLPIDecisionReference>},
    {15, "AC_Policy", isExactly<SQLPIACPolicy>},
    {16, "Scope", isExactly<SQLPIScope>},
    {17, "BusinessValue", isExactly<SQLPIBusinessValue>},
    {18, "LogicalExpression", isExactly<SQLPILogicalExpression>},
    {19, "And", isExactly<SQLPIAnd>},
    {20, "Or", isExactly<SQLPIOr>},
    {21, "Not", isExactly<SQLPINot>},
    {22, "PreconditionReference", isExactly<SQLPIPreconditionReference>},
    {23, "ArithmeticExpression", isExactly<SQLPIArithmeticExpression>},
    {24, "Equals", isExactly<SQLPIEqual>},
    {25, "GreaterThan", isExactly<SQLPIGreaterThan>},
    {26, "LessThan", isExactly<SQLPILessThan>},
    {27, "LessThanOrEqual", isExactly<SQLPILessThanEq>},
    {28, "GreaterThanOrEqual", isExactly<SQLPIGreaterThanEq>},
    {29, "ArithmeticOperator", isExactly<SQLPIArithmeticOperator>},
    {30, "Plus", isExactly<SQLPIPlus>},
    {31, "Minus", isExactly<SQLPIMinus>},
    {32, "Product", isExactly<SQLPIMult>},
    {33, "Divide", isExactly<SQLPIDiv>},
    {34, "UnaryMinus", isExactly<SQLPIUnaryMinus>},
    {35, "StringLength", isExactly<SQLPIStrlen>},
    {36, "StringExpression", isExactly<SQLPIStrExpr>},
    {37, "StringEquals", isExactly<SQLPIStrEq>},
    {38, "StringLessThan", isExactly<SQLPIStrLT>},
    {39, "StringGreaterThan", isExactly<SQLPIStrGT>},
    {40, "StringStartsWith", isExactly<SQLPIStrsw>},
    {41, "StringEndsWith", isExactly<SQLPIStrew>},
    {42, "Decision", isExactly<SQLPIDecision>},
    {43, "Constant", isExactly<SQLPIConst>},
    {44, "SimplePolicyCondition", isExactly<SQLPISimplePolicyCondition>},
    {45, "Interval", isExactly<SQLPIInterval>},
    {46, "LowerBound", isExactly<SQLPILowerBound>},
    {47, "UpperBound", isExactly<SQLPIUpperBound>},
    {48, "Set", isExactly<SQLPISet>},
    {49, "PolicyTimePeriodCondition", isExactly<SQLPIPolicyTimePeriodCondition>},
    {50, "TimePeriod", isExactly<SQLPITimePeriod>},
    {51, "MonthOfYearMask", isExactly<SQLPIMonthOfYearMask>},
    {52, "DayOfMonthMask", isExactly<SQLPIDayOfMonthMask>},
    {53, "DayOfWeekMask", isExactly<SQLPIDayOfWeekMask>},
    {54, "TimeOfDayMask", isExactly<SQLPITimeOfDayMask>},
    {55, "SimplePolicyAction", isExactly<SQLPISimplePolicyAction>},
    {56, "SimplePolicyActionName", isExactly<SQLPISimplePolicyActionName>},
    {57, "GoalConstraint", isExactly<SQLPIGoalConstraint>},
    {58, "kel:KELPolicyDocument", isExactly<SQLPIKELPolicyDocument>},
    {59, "kel:MaintenanceWindowCondition", isExactly<SQLPIMaintenanceWindowCondition>},
    {60, "kel:NOP", isExactly<SQLPINop>},
    {61, "kel:Sensors", isExactly<SQLPISensors>},
    {62, "Tables", isExactly<SQLPITables>},
    {63, "Indexes", isExactly<SQLPIIndexes>},
    {64, "Mode", isExactly<SQLPIMode>},
    {65, "kel:Pathname", isExactly<SQLPIPathname>},
    {66, "TableReorgChk_Flag", isExactly<SQLPIPolicyElement>},
    {67, "ReorgSize_KB", isExactly<SQLPIPolicyElement>},
    {68, "TableStatisticsCurrencyFlag", isExactly<SQLPIPolicyElement>},
    {69, "TableStatsProfileFlag", isExactly<SQLPIStatsProfFlag>},
    {70, "kel:TableReorg", isExactly<SQLPIReorgAction>},
    {71, "kel:TableReorgSensors", isExactly<SQLPISensors>},
    {72, "kel:TableReorgActions", isExactly<SQLPIPolicyElement>},
    {73, "kel:TableReorgDecision", isExactly<SQLPIPolicyElement>},
    {74, "kel:TableRunstatsGoalConstraintSensors", isExactly<SQLPIPolicyElement>},
    {75, "kel:TableRunstatsDecision", isExactly<SQLPIPolicyElement>},
    {76, "kel:StatsProfileSensors", isExactly<SQLPIStatsProfSensors>},
    {77, "kel:StatsProfileDecision", isExactly<SQLPIStatsProfDecision>},
    {78, "kel:StatsProfileActions", isExactly<SQLPIStatsProfActionName>},
    {79, "kel:StatsProfile", isExactly<SQLPIStatsProfAction>},
    {80, "kel:Monitor", isExactly<SQLPIStatsProfMonitor>},
    {81, "kel:FeedbackWarehouse", isExactly<SQLPIStatsProfFeedbackWh>},
    {82, "kel:Population", isExactly<SQLPIStatsProfPopulation>},
    {83, "kel:StatsProfiling", isExactly<SQLPIStatsProfType>},
    {84, "kel:DBBackupSensors", isExactly<SQLPISensors>},
    {85, "Number_Full_DB_Backups", isExactly<SQLPIPolicyElement>},
    {86, "Elapsed_Time_Since_Last_DB_Backup", isExactly<SQLPIPolicyElement>},
    {87, "Log_Consumed_Since_Last_DB_Backup", isExactly<SQLPIPolicyElement>},
    {88, "kel:DBBackup", isExactly<SQLPIBackupAction>},
    {89, "kel:DiskBackupTarget", isExactly<SQLPIPolicyElement>},
    {90, "kel:TapeBackupTarget", isExactly<SQLPIPolicyElement>},
    {91, "kel:VLTBackupTarget", isExactly<SQLPIPolicyElement>},
    {92, "kel:XBSABackupTarget", isExactly<SQLPIPolicyElement>},
    {93, "kel:VendorLibBackupTarget", isExactly<SQLPIPolicyElement>},
    {94, "kel:numberOfSessions", isExactly<SQLPIPolicyElement>},
    {95, "kel:libFilename", isExactly<SQLPIPolicyElement>},
    {96, "kel:libOptions", isExactly<SQLPIPolicyElement>},
    {97, "kel:DBBackupActions", isExactly<SQLPIPolicyElement>},
    {98, "kel:DBBackupDecision", isExactly<SQLPIPolicyElement>},
};

SQLPIPolicyElement* firstChild(const Tree& tree) {
    return static_cast<SQLPIPolicyElement*>(tree->children->getFirstElement()->data);
}

TEST_F(PolicyCatalogue, EveryElementHasItsValueAndClass) {
    ASSERT_EQ(std::size(elementCases), SQLPI_ELEMENT_TYPES - 1);
    for (const ElementCase& expected : elementCases) {
        SCOPED_TRACE(expected.name);
        const Tree tree = parseTree("<PolicyDocument><" + std::string(expected.name) + "/></PolicyDocument>");
        ASSERT_NE(tree, nullptr);
        SQLPIPolicyElement* element = expected.value == SQLPI_ELEMENT_POLICY_DOCUMENT ? tree.get() : firstChild(tree);
        EXPECT_EQ(element->elementType, expected.value);
        if (expected.value == SQLPI_ELEMENT_POLICY_DOCUMENT)
            EXPECT_NE(dynamic_cast<SQLPIPolicyDocument*>(element), nullptr);
        else
            EXPECT_TRUE(expected.isOfClass(element)) << typeid(*element).name();
        EXPECT_STREQ(sqlpiElementName(element->elementType), expected.name);
        EXPECT_EQ(element->elementType, sqlpiElementTypeOf(std::u16string(
                                            expected.name, expected.name + std::string_view(expected.name).size())));
    }
    EXPECT_STREQ(sqlpiElementName(SQLPI_ELEMENT_NONE), "NONE");
    EXPECT_STREQ(sqlpiElementName(static_cast<SQLPI_POL_ELEMENT_TYPE>(99)), "NONE");
    EXPECT_STREQ(sqlpiElementName(static_cast<SQLPI_POL_ELEMENT_TYPE>(0xFFFFFFFF)), "NONE");
}

TEST_F(PolicyCatalogue, AnOutermostPolicyDocumentIsOfItsClass) {
    EXPECT_TRUE(isExactly<SQLPIPolicyDocument>(parseTree("<PolicyDocument/>").get()));
}

TEST_F(PolicyCatalogue, EveryOtherNameIsPlainAndKeepsItsDescendants) {
    for (const char* name :
         {"NONE", "policydocument", "POLICYDOCUMENT", "ac_policy", "Sensors", "other:Sensors", "kel:sensors",
          "AC_Policy2", "AC_Polic", "A", "kel:Tables", "kel:Const", "\xC3\x84quals"}) {
        SCOPED_TRACE(name);
        const std::string tag = name;
        const Tree tree = parseTree("<PolicyDocument><" + tag + "><AC_Policy/></" + tag + "></PolicyDocument>");
        ASSERT_NE(tree, nullptr);
        EXPECT_EQ(outline(tree.get()), "1(0(15))");
        EXPECT_TRUE(isExactly<SQLPIPolicyElement>(firstChild(tree)));
    }
}

/* A pointer cannot be cast down from a virtual base without a check at run time. */
template <class Base, class... Classes>
constexpr bool haveVirtualBase =
    ((std::is_base_of_v<Base, Classes> && !requires(Base * base) { static_cast<Classes*>(base); }) && ...);
template <class Base, class... Classes>
constexpr bool haveOrdinaryBase =
    ((std::is_base_of_v<Base, Classes> && requires(Base * base) { static_cast<Classes*>(base); }) && ...);

static_assert(haveVirtualBase<SQLPIBase, SQLPIList, SQLPIListElement, SQLPIPolicyElement>);
static_assert(haveVirtualBase<SQLPIPolicyElement, SQLPIReferredElement, SQLPIString, SQLPIExpression, SQLPIOperator,
                              SQLPIDateTimeRange>);
static_assert(
    haveVirtualBase<SQLPIPolicyElement, SQLPIPolicyDocument, SQLPIMetadata, SQLPIDecisionSection,
                    SQLPIPreconditionSection, SQLPIPolicySection, SQLPIMEDScopeName, SQLPIASValue, SQLPIASName,
                    SQLPIResultValue, SQLPIResultName, SQLPIDecisionName, SQLPIPrecondition, SQLPIDecisionReference,
                    SQLPIACPolicy, SQLPIScope, SQLPIBusinessValue, SQLPIPreconditionReference, SQLPIConst,
                    SQLPISimplePolicyCondition, SQLPILowerBound, SQLPIUpperBound, SQLPISet, SQLPIMonthOfYearMask,
                    SQLPIDayOfMonthMask, SQLPIDayOfWeekMask, SQLPITimeOfDayMask, SQLPINop, SQLPISensors, SQLPITables,
                    SQLPIIndexes, SQLPIMode, SQLPIPathname, SQLPIStatsProfFlag, SQLPIReorgAction, SQLPIBackupAction,
                    SQLPIStatsProfSensors, SQLPIStatsProfDecision, SQLPIStatsProfActionName, SQLPIStatsProfAction,
                    SQLPIStatsProfMonitor, SQLPIStatsProfFeedbackWh, SQLPIStatsProfPopulation, SQLPIStatsProfType>);
static_assert(haveVirtualBase<SQLPIReferredElement, SQLPIDecision, SQLPIInterval, SQLPIGoalConstraint,
                              SQLPISimplePolicyAction, SQLPIPolicyTimePeriodCondition>);
static_assert(haveOrdinaryBase<SQLPIPolicyTimePeriodCondition, SQLPIMaintenanceWindowCondition>);
static_assert(haveOrdinaryBase<SQLPIPolicyDocument, SQLPIKELPolicyDocument>);
static_assert(haveOrdinaryBase<SQLPIString, SQLPIDescription, SQLPISimplePolicyActionName>);
static_assert(haveOrdinaryBase<SQLPIExpression, SQLPILogicalExpression, SQLPIArithmeticExpression>);
static_assert(haveOrdinaryBase<SQLPIOperator, SQLPILogicalOperator, SQLPIArithmeticOperator>);
static_assert(haveOrdinaryBase<SQLPILogicalOperator, SQLPIAnd, SQLPIOr, SQLPINot, SQLPIEqual, SQLPIGreaterThan,
                               SQLPILessThan, SQLPILessThanEq, SQLPIGreaterThanEq, SQLPIStrlen, SQLPIStrExpr,
                               SQLPIStrEq, SQLPIStrLT, SQLPIStrGT, SQLPIStrsw, SQLPIStrew>);
static_assert(
    haveOrdinaryBase<SQLPIArithmeticOperator, SQLPIPlus, SQLPIMinus, SQLPIMult, SQLPIDiv, SQLPIUnaryOperator>);
static_assert(haveOrdinaryBase<SQLPIUnaryOperator, SQLPIUnaryMinus>);
static_assert(haveOrdinaryBase<SQLPIDateTimeRange, SQLPITimePeriod>);
/* Classes without data of their own are as large as classes that are empty. */
template <class Base>
struct EmptyOverVirtual : virtual Base {};
template <class Base>
struct EmptyOver : Base {};
template <class Empty, class... Classes>
constexpr bool addNoData = ((sizeof(Classes) == sizeof(Empty)) && ...);

static_assert(sizeof(EmptyOverVirtual<SQLPIPolicyElement>) < sizeof(SQLPIStatsProfPopulation));
static_assert(addNoData<EmptyOverVirtual<SQLPIPolicyElement>, SQLPIExpression, SQLPIOperator, SQLPIDateTimeRange>);
static_assert(
    addNoData<EmptyOverVirtual<SQLPIPolicyElement>, SQLPIPolicyDocument, SQLPIMetadata, SQLPIDecisionSection,
              SQLPIPreconditionSection, SQLPIPolicySection, SQLPIMEDScopeName, SQLPIASValue, SQLPIASName,
              SQLPIResultValue, SQLPIResultName, SQLPIDecisionName, SQLPIPrecondition, SQLPIDecisionReference,
              SQLPIACPolicy, SQLPIScope, SQLPIBusinessValue, SQLPIPreconditionReference, SQLPIConst,
              SQLPISimplePolicyCondition, SQLPILowerBound, SQLPIUpperBound, SQLPISet, SQLPIMonthOfYearMask,
              SQLPIDayOfMonthMask, SQLPIDayOfWeekMask, SQLPITimeOfDayMask, SQLPINop, SQLPISensors, SQLPITables,
              SQLPIIndexes, SQLPIMode, SQLPIPathname, SQLPIStatsProfFlag, SQLPIStatsProfSensors, SQLPIStatsProfDecision,
              SQLPIStatsProfActionName, SQLPIStatsProfAction, SQLPIStatsProfFeedbackWh>);
static_assert(addNoData<EmptyOverVirtual<SQLPIReferredElement>, SQLPIDecision, SQLPIGoalConstraint,
                        SQLPISimplePolicyAction, SQLPIPolicyTimePeriodCondition>);
static_assert(addNoData<EmptyOver<SQLPIPolicyDocument>, SQLPIKELPolicyDocument>);
static_assert(addNoData<EmptyOver<SQLPIString>, SQLPIDescription, SQLPISimplePolicyActionName>);
static_assert(addNoData<EmptyOver<SQLPIExpression>, SQLPILogicalExpression, SQLPIArithmeticExpression>);
static_assert(addNoData<EmptyOver<SQLPIOperator>, SQLPILogicalOperator, SQLPIArithmeticOperator>);
static_assert(addNoData<EmptyOver<SQLPILogicalOperator>, SQLPIAnd, SQLPIOr, SQLPINot, SQLPIEqual, SQLPIGreaterThan,
                        SQLPILessThan, SQLPILessThanEq, SQLPIGreaterThanEq, SQLPIStrlen, SQLPIStrExpr, SQLPIStrEq,
                        SQLPIStrLT, SQLPIStrGT, SQLPIStrsw, SQLPIStrew>);
static_assert(
    addNoData<EmptyOver<SQLPIArithmeticOperator>, SQLPIPlus, SQLPIMinus, SQLPIMult, SQLPIDiv, SQLPIUnaryOperator>);
static_assert(addNoData<EmptyOver<SQLPIUnaryOperator>, SQLPIUnaryMinus>);
static_assert(addNoData<EmptyOver<SQLPIDateTimeRange>, SQLPITimePeriod>);

TEST_F(PolicyCatalogue, AnIdentifierInADocumentIsNotKept) {
    for (const char* name : {"Decision", "Interval", "GoalConstraint", "SimplePolicyAction",
                             "PolicyTimePeriodCondition", "kel:MaintenanceWindowCondition"}) {
        SCOPED_TRACE(name);
        const Tree tree = parseTree("<PolicyDocument><" + std::string(name) +
                                    " policyElementId='id' elementID='id'/>"
                                    "</PolicyDocument>");
        const auto* element = dynamic_cast<SQLPIReferredElement*>(firstChild(tree));
        ASSERT_NE(element, nullptr);
        for (const char character : element->getElementID().characters) ASSERT_EQ(character, '\0');
    }
}

TEST_F(PolicyCatalogue, TheTextOfAStringElementIsTheElementsText) {
    for (const char* name : {"Description", "SimplePolicyActionName"}) {
        SCOPED_TRACE(name);
        const std::string tag = name;
        const Tree tree = parseTree("<PolicyDocument><" + tag + ">some text</" + tag + "></PolicyDocument>");
        const auto* element = dynamic_cast<SQLPIString*>(firstChild(tree));
        ASSERT_NE(element, nullptr);
        EXPECT_STREQ(element->text, "some text");
        EXPECT_EQ(element->data, nullptr);
        EXPECT_EQ(element->length, 0U);
    }
}

TEST_F(PolicyCatalogue, EveryAttributeHasItsValue) {
    const struct {
        uint32_t value;
        const char* name;
    } cases[] = {{1, "maxFiles"},
                 {2, "maxFileSize"},
                 {3, "maxFWSize"},
                 {4, "maxSingleTableStats"},
                 {5, "maxColGroupStats"},
                 {6, "maxFrequentValues"},
                 {7, "maxProfiles"},
                 {8, "profileGeneration"},
                 {9, "mode"},
                 {10, "windowType"},
                 {12, "useTempTbsp"},
                 {13, "dictionaryOption"},
                 {14, "reclaimExtentsSizeForMDCTables"},
                 {15, "numInxPseudoEmptyPagesForVolatileTables"}};
    for (const auto& expected : cases) {
        EXPECT_EQ(SQLPIPolicyElement::getAttributeType(expected.name), expected.value) << expected.name;
        EXPECT_STREQ(sqlpiAttributeName(static_cast<SQLPI_POL_ATTRIBUTE_TYPE>(expected.value)), expected.name);
    }
    EXPECT_STREQ(sqlpiAttributeName(SQLPI_ATTRIBUTE_MODE_SECOND), "mode");
    EXPECT_STREQ(sqlpiAttributeName(SQLPI_ATTRIBUTE_UNKNOWN), "*** Unknown Attribute ***");
    EXPECT_STREQ(sqlpiAttributeName(static_cast<SQLPI_POL_ATTRIBUTE_TYPE>(16)), "*** Unknown Attribute ***");
    for (const char* unknown : {"", "Mode", "policyElementId", "maxfiles", "maxFiles ", "*** Unknown Attribute ***"})
        EXPECT_EQ(SQLPIPolicyElement::getAttributeType(unknown), 0U) << unknown;
    EXPECT_EQ(SQLPIPolicyElement::getAttributeType(nullptr), 0U);
}

}  // namespace
