/* Searches and resets: their order and cursors, also against the recursive description of them, and destruction. */
#include <random>
#include <vector>

#include "balance.h"
#include "proofSize.h"
#include "trees.h"

namespace {

class PolicySearch : public BalancedTest {};

constexpr auto wanted = SQLPI_ELEMENT_AC_POLICY;

SQLPIPolicyElement* scopeIn(SQLPIPolicyElement* policy) {
    policy->resetAll();
    return policy->findElement(policy, SQLPI_ELEMENT_SCOPE);
}

std::string scopeOf(SQLPIPolicyElement* policy) {
    if (policy == nullptr) return "none";
    return scopeIn(policy)->text;
}

const char* const twoSections =
    "<PolicyDocument>"
    "<PolicySection><AC_Policy><Scope>one</Scope></AC_Policy><AC_Policy><Scope>two</Scope></AC_Policy></PolicySection>"
    "<PolicySection><Other><AC_Policy><Scope>three</Scope></AC_Policy></Other></PolicySection>"
    "</PolicyDocument>";

TEST_F(PolicySearch, NothingIsFoundBelowNothing) {
    const Tree tree = parseTree("<PolicyDocument/>");
    EXPECT_EQ(tree->findElement(nullptr, wanted), nullptr);
    EXPECT_EQ(tree->findNextElement(nullptr, wanted), nullptr);
    EXPECT_EQ(tree->findElement(tree.get(), wanted), nullptr);
    EXPECT_EQ(tree->findNextElement(tree.get(), wanted), nullptr);
}

TEST_F(PolicySearch, TheStartIsNeverItsOwnMatch) {
    const Tree tree = parseTree("<PolicyDocument><AC_Policy/></PolicyDocument>");
    SQLPIPolicyElement* policy = tree->findElement(tree.get(), wanted);
    ASSERT_NE(policy, nullptr);
    EXPECT_EQ(tree->findElement(policy, wanted), nullptr);
}

TEST_F(PolicySearch, DirectChildrenAreFoundOneByOneUntilReset) {
    const Tree tree = parseTree(
        "<PolicyDocument><AC_Policy><Scope>1</Scope></AC_Policy><Nop/>"
        "<AC_Policy><Scope>2</Scope></AC_Policy></PolicyDocument>");
    EXPECT_EQ(scopeOf(tree->findElement(tree.get(), wanted)), "1");
    EXPECT_EQ(scopeOf(tree->findElement(tree.get(), wanted)), "2");
    EXPECT_EQ(tree->findElement(tree.get(), wanted), nullptr);
    EXPECT_EQ(tree->findElement(tree.get(), wanted), nullptr);
    tree->resetAll();
    EXPECT_EQ(scopeOf(tree->findElement(tree.get(), wanted)), "1");
}

TEST_F(PolicySearch, AfterADeepMatchTheRestOfThatChildIsSkipped) {
    const Tree tree = parseTree(twoSections);
    SQLPIPolicyElement* one = tree->findElement(tree.get(), wanted);
    ASSERT_EQ(scopeOf(one), "one");
    EXPECT_EQ(scopeOf(tree->findElement(tree.get(), wanted)), "three") << "the second of the section is skipped";
    tree->resetAll();
    one = tree->findElement(tree.get(), wanted);
    SQLPIPolicyElement* two = tree->findNextElement(one, wanted);
    ASSERT_EQ(scopeOf(two), "two");
    SQLPIPolicyElement* three = tree->findNextElement(two, wanted);
    ASSERT_EQ(scopeOf(three), "three");
    EXPECT_EQ(tree->findNextElement(three, wanted), nullptr);
}

TEST_F(PolicySearch, TwoPoliciesInOneSection) {
    const Tree tree =
        parseTree("<PolicyDocument><PolicySection><AC_Policy/><AC_Policy/></PolicySection></PolicyDocument>");
    SQLPIPolicyElement* first = tree->findElement(tree.get(), wanted);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(tree->findElement(tree.get(), wanted), nullptr);
    SQLPIPolicyElement* second = tree->findNextElement(first, wanted);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(second, first);
    EXPECT_EQ(second->parent, first->parent);
}

TEST_F(PolicySearch, TheNextOneMayLieInsideTheLast) {
    const Tree tree = parseTree(
        "<PolicyDocument><AC_Policy><x><AC_Policy><Scope>in</Scope></AC_Policy></x></AC_Policy>"
        "<AC_Policy><Scope>behind</Scope></AC_Policy></PolicyDocument>");
    SQLPIPolicyElement* outer = tree->findElement(tree.get(), wanted);
    SQLPIPolicyElement* inner = tree->findNextElement(outer, wanted);
    EXPECT_EQ(scopeOf(inner), "in");
    EXPECT_EQ(scopeOf(tree->findNextElement(inner, wanted)), "behind");
}

TEST_F(PolicySearch, TheObjectAskedPlaysNoPart) {
    const Tree tree = parseTree(twoSections);
    SQLPIPolicyElement unrelated;
    EXPECT_EQ(scopeOf(unrelated.findElement(tree.get(), wanted)), "one");
}

/* --- against the recursive description ---------------------------------------------------------------------------- */

/* The same tree with cursors as indexes, searched as the description reads. */
struct Model {
    SQLPIPolicyElement* element;
    Model* parent = nullptr;
    std::vector<std::unique_ptr<Model>> children;
    size_t cursor = 0;

    explicit Model(SQLPIPolicyElement* e, Model* p = nullptr) : element(e), parent(p) {
        for (auto* node = e->children->getFirstElement(); node != nullptr; node = node->getNext())
            children.push_back(std::make_unique<Model>(static_cast<SQLPIPolicyElement*>(node->data), this));
    }
    Model* find(uint32_t type) {
        while (cursor < children.size()) {
            Model* child = children[cursor++].get();
            if (child->element->elementType == type) return child;
            if (Model* found = child->find(type)) return found;
        }
        return nullptr;
    }
    Model* findNext(uint32_t type) {
        if (Model* found = find(type)) return found;
        for (Model* level = parent; level != nullptr; level = level->parent)
            if (Model* found = level->find(type)) return found;
        return nullptr;
    }
    void reset() {
        cursor = 0;
        for (auto& child : children) child->reset();
        cursor = 0;
    }
    void collect(std::vector<Model*>& all) {
        all.push_back(this);
        for (auto& child : children) child->collect(all);
    }
    bool sameCursors() const {
        const SQLPIListElement* node = element->children->getFirstElement();
        for (size_t i = 0; i < cursor; ++i) node = node->getNext();
        if (node != element->children->current) return false;
        for (const auto& child : children)
            if (!child->sameCursors()) return false;
        return true;
    }
};

std::string randomTree(std::mt19937& random, int elements) {
    const char* const names[] = {"AC_Policy", "Scope", "And", "other"};
    std::string document = "<PolicyDocument>";
    std::vector<std::string> open;
    for (int i = 0; i < elements; ++i) {
        const std::string name = names[random() % 4];
        document += "<" + name + ">";
        open.push_back(name);
        while (!open.empty() && random() % 2 == 0) {
            document += "</" + open.back() + ">";
            open.pop_back();
        }
    }
    for (; !open.empty(); open.pop_back()) document += "</" + open.back() + ">";
    return document + "</PolicyDocument>";
}

TEST_F(PolicySearch, SearchesAgreeWithTheRecursiveDescription) {
    const auto trees = static_cast<uint32_t>(proofSize("KELPOLICY_TREES", 100000));
    for (uint32_t seed = 0; seed < trees; ++seed) {
        std::mt19937 random(seed);
        const std::string document = randomTree(random, static_cast<int>(random() % 30));
        const Tree tree = parseTree(document);
        ASSERT_NE(tree, nullptr) << document;
        Model model(tree.get());
        std::vector<Model*> all;
        model.collect(all);
        for (int step = 0; step < 40; ++step) {
            Model* from = all[random() % all.size()];
            const auto type = std::array{SQLPI_ELEMENT_AC_POLICY, SQLPI_ELEMENT_SCOPE, SQLPI_ELEMENT_AND,
                                         SQLPI_ELEMENT_NONE}[random() % 4];
            Model* expected = nullptr;
            SQLPIPolicyElement* found = nullptr;
            switch (random() % 8) {
                case 0:
                    from->reset();
                    from->element->resetAll();
                    break;
                case 1:
                case 2:
                case 3:
                    expected = from->find(type);
                    found = tree->findElement(from->element, type);
                    break;
                default:
                    expected = from->findNext(type);
                    found = tree->findNextElement(from->element, type);
            }
            ASSERT_EQ(found, expected == nullptr ? nullptr : expected->element)
                << "seed " << seed << " step " << step << "\n"
                << document;
            ASSERT_TRUE(model.sameCursors()) << "seed " << seed << " step " << step << "\n" << document;
        }
    }
}

/* --- resetting, destroying ---------------------------------------------------------------------------------------- */

TEST_F(PolicySearch, ResetAllSetsEveryCursorBack) {
    const Tree tree = parseTree(twoSections);
    Model model(tree.get());
    while (tree->findNextElement(tree.get(), SQLPI_ELEMENT_NOP) != nullptr) {
    }
    EXPECT_FALSE(model.sameCursors());
    tree->resetAll();
    EXPECT_TRUE(model.sameCursors());
}

TEST_F(PolicySearch, AFreshTreeNeedsNoReset) {
    const Tree tree = parseTree(twoSections);
    EXPECT_TRUE(Model(tree.get()).sameCursors());
}

TEST_F(PolicySearch, ATreeBuiltWithoutParentLinksIsSearchedAlike) {
    SQLPIPolicyElement root;
    auto* section = addChild(&root, SQLPI_ELEMENT_POLICY_SECTION);
    addChild(section, SQLPI_ELEMENT_SCOPE)->parent = nullptr;
    auto* policy = addChild(&root, SQLPI_ELEMENT_AC_POLICY);
    section->parent = policy->parent = nullptr;
    EXPECT_EQ(root.findElement(&root, SQLPI_ELEMENT_AC_POLICY), policy);
    root.resetAll();
    EXPECT_EQ(root.findElement(&root, SQLPI_ELEMENT_SCOPE)->elementType, SQLPI_ELEMENT_SCOPE);
}

/* Notes when it is destroyed. */
class Noting : public SQLPIPolicyElement {
public:
    Noting(std::vector<std::string>& notes, std::string name) : notes_(&notes), name_(std::move(name)) {}
    ~Noting() override { notes_->push_back(name_ + (children->getFirstElement() == nullptr ? "" : "+")); }

private:
    std::vector<std::string>* notes_;
    std::string name_;
};

TEST_F(PolicySearch, ChildrenAreDestroyedBeforeTheirParentInDocumentOrder) {
    std::vector<std::string> notes;
    const auto add = [&](SQLPIPolicyElement* parent, const char* name) {
        auto* element = new Noting(notes, name);
        SQLPIPolicyElement* payload = element;
        parent->children->addElement(new SQLPIListElement(nullptr, nullptr, payload, sizeof payload));
        return element;
    };
    {
        SQLPIPolicyElement root;
        auto* a = add(&root, "a");
        add(a, "a1");
        add(add(a, "a2"), "a21");
        add(&root, "b");
        root.children->addElement(new SQLPIListElement);  // a node without a payload is only a node
        add(add(&root, "c"), "c1");
    }
    EXPECT_EQ(notes, (std::vector<std::string>{"a1", "a21", "a2", "a", "b", "c1", "c"}));
}

}  // namespace
