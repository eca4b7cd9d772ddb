/* Lists, their cursor and their positions, and strings of the policy model. */
#include <vector>

#include "balance.h"
#include "sqlpiPolicyBase.h"

namespace {

class PolicyList : public BalancedTest {
protected:
    std::vector<SQLPIListElement*> walk() {
        std::vector<SQLPIListElement*> nodes;
        list.reset();
        while (SQLPIListElement* node = list.getNextElement()) nodes.push_back(node);
        EXPECT_EQ(list.getNextElement(), nullptr) << "a list at its end stays there";
        return nodes;
    }
    void addAll() {
        list.addElement(&a);
        list.addElement(&b);
        list.addElement(&c);
    }

    SQLPIList list;
    SQLPIListElement a, b, c, d;
};

TEST_F(PolicyList, AnEmptyListHasNothing) {
    EXPECT_EQ(list.getFirstElement(), nullptr);
    EXPECT_EQ(list.getLastElement(), nullptr);
    EXPECT_EQ(list.getNextElement(), nullptr);
    list.reset();
    EXPECT_EQ(list.getNextElement(), nullptr);
}

TEST_F(PolicyList, ANewNodeHoldsNothingAndKeepsWhatItIsGiven) {
    EXPECT_EQ(a.getNext(), nullptr);
    EXPECT_EQ(a.getPrevious(), nullptr);
    EXPECT_EQ(a.data, nullptr);
    EXPECT_EQ(a.getLength(), 0U);
    int payload = 0;
    a.setData(&payload, 8);
    a.setNext(&b);
    a.setPrevious(&c);
    EXPECT_EQ(a.data, &payload);
    EXPECT_EQ(a.getLength(), 8U);
    EXPECT_EQ(a.getNext(), &b);
    EXPECT_EQ(a.getPrevious(), &c);
    const SQLPIListElement whole(&a, &b, &payload, 4);
    EXPECT_EQ(whole.getPrevious(), &a);
    EXPECT_EQ(whole.getNext(), &b);
    EXPECT_EQ(whole.data, &payload);
    EXPECT_EQ(whole.getLength(), 4U);
    EXPECT_EQ(b.getPrevious(), nullptr) << "the neighbours are not touched";
}

TEST_F(PolicyList, AListMayStartWithOneNode) {
    a.setNext(&b);
    const SQLPIList one(&a);
    EXPECT_EQ(one.first, &a);
    EXPECT_EQ(one.last, &a);
    EXPECT_EQ(one.current, &a);
    EXPECT_EQ(a.getNext(), &b);
}

TEST_F(PolicyList, OnlyTheFirstNodeSetsTheCursor) {
    list.addElement(&a);
    EXPECT_EQ(list.first, &a);
    EXPECT_EQ(list.last, &a);
    EXPECT_EQ(list.current, &a);
    list.addElement(&b);
    EXPECT_EQ(list.getNextElement(), &a);
    EXPECT_EQ(list.current, &b);
    list.addElement(&c);
    EXPECT_EQ(list.current, &b);
    EXPECT_EQ(list.last, &c);
    EXPECT_EQ(c.getPrevious(), &b);
    EXPECT_EQ(b.getNext(), &c);
}

TEST_F(PolicyList, ANodeAppendedAfterTheEndWaitsForReset) {
    list.addElement(&a);
    EXPECT_EQ(list.getNextElement(), &a);
    EXPECT_EQ(list.getNextElement(), nullptr);
    list.addElement(&b);
    EXPECT_EQ(list.getNextElement(), nullptr);
    EXPECT_EQ(walk(), (std::vector{&a, &b}));
}

TEST_F(PolicyList, WalksInOrderOfInsertion) {
    addAll();
    EXPECT_EQ(walk(), (std::vector{&a, &b, &c}));
}

TEST_F(PolicyList, AppendingNothingEndsTheList) {
    list.addElement(nullptr);
    EXPECT_EQ(list.first, nullptr);
    list.addElement(&a);
    list.addElement(nullptr);
    EXPECT_EQ(list.last, nullptr);
    EXPECT_EQ(a.getNext(), nullptr);
}

TEST_F(PolicyList, PositionsCountFromTheNodeBehindTheHead) {
    addAll();
    EXPECT_EQ(list.getElement(0), &b);
    EXPECT_EQ(list.getElement(1), &b);
    EXPECT_EQ(list.getElement(2), &c);
    EXPECT_EQ(list.getElement(3), nullptr);
    EXPECT_EQ(list.getElement(4000000000U), nullptr);
}

TEST_F(PolicyList, InsertsBeforeAPosition) {
    addAll();
    list.insertElement(&d, 2);
    EXPECT_EQ(walk(), (std::vector{&a, &b, &d, &c}));
    EXPECT_EQ(c.getPrevious(), &d);
    EXPECT_EQ(d.getPrevious(), &b);
    EXPECT_EQ(list.last, &c);
}

class FirstPosition : public PolicyList, public testing::WithParamInterface<uint32_t> {};
INSTANTIATE_TEST_SUITE_P(IsBoth, FirstPosition, testing::Values(0U, 1U));

TEST_P(FirstPosition, InsertsBehindTheHead) {
    addAll();
    list.insertElement(&d, GetParam());
    EXPECT_EQ(walk(), (std::vector{&a, &d, &b, &c}));
    EXPECT_EQ(list.first, &a);
    EXPECT_EQ(list.last, &c);
    EXPECT_EQ(d.getPrevious(), &a);
    EXPECT_EQ(b.getPrevious(), &d);
}

TEST_F(PolicyList, DeletesTheTail) {
    addAll();
    EXPECT_EQ(list.deleteElement(2), 1U);
    EXPECT_EQ(list.last, &b);
    EXPECT_EQ(walk(), (std::vector{&a, &b}));
    EXPECT_EQ(c.getPrevious(), &b) << "the node itself is left alone";
}

TEST_P(FirstPosition, DeletesBehindTheHeadAndLeavesTheCursor) {
    addAll();
    list.getNextElement();
    list.deleteElement(GetParam());
    EXPECT_EQ(list.first, &a);
    EXPECT_EQ(list.last, &c);
    EXPECT_EQ(list.current, &b);
    EXPECT_EQ(a.getNext(), &c);
    EXPECT_EQ(c.getPrevious(), &a);
    EXPECT_EQ(walk(), (std::vector{&a, &c}));
}

TEST_F(PolicyList, DeletesTheHeadWhenTheLinksSaySo) {
    addAll();
    b.setPrevious(nullptr);  // the node behind the head claims to be the head
    list.deleteElement(1);
    EXPECT_EQ(list.first, &c);
    EXPECT_EQ(c.getPrevious(), nullptr);
}

TEST_F(PolicyList, WhereThereIsNoPositionNothingHappens) {
    for (const uint32_t position : {0U, 1U, 2U}) {
        EXPECT_EQ(list.getElement(position), nullptr);
        list.insertElement(&d, position);
        EXPECT_EQ(list.deleteElement(position), 0U);
    }
    EXPECT_EQ(list.first, nullptr);
    addAll();
    list.insertElement(&d, 3);
    list.insertElement(nullptr, 1);
    list.deleteElement(3);
    EXPECT_EQ(walk(), (std::vector{&a, &b, &c}));
}

TEST_F(PolicyList, AStringKeepsThePointerItIsGiven) {
    char characters[] = "seven c";
    SQLPIString string(characters);
    EXPECT_EQ(string.data, characters);
    EXPECT_EQ(string.length, 7U);
    EXPECT_EQ(static_cast<char*>(string), characters);
    EXPECT_EQ(SQLPIString(nullptr).length, 0U);
    char other[] = "abc";
    string.setData(other, 2);
    EXPECT_EQ(static_cast<char*>(string), other);
    EXPECT_EQ(string.length, 2U);
    const SQLPIString empty;
    EXPECT_EQ(empty.data, nullptr);
    EXPECT_EQ(empty.length, 0U);
}

TEST_F(PolicyList, AnElementIdIsCopiedWhole) {
    SQLPIReferredElement element;
    for (const char character : element.getElementID().characters) ASSERT_EQ(character, '\0');
    SQLPIElementID id;
    for (size_t i = 0; i < sizeof id.characters; ++i) id.characters[i] = static_cast<char>('a' + i % 26);
    element.setElementID(id);
    for (size_t i = 0; i < sizeof id.characters; ++i)
        ASSERT_EQ(element.getElementID().characters[i], static_cast<char>('a' + i % 26)) << i;
}

}  // namespace
