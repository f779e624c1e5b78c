#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "shared/System/kvFifoList.h"

namespace Kestrova::Test {
namespace {

using List = FifoList<LinkedString>;
using Texts = std::vector<std::string>;

void Fill(List& list, const Texts& texts) {
    for (const std::string& strText : texts) list.Push(strText.c_str());
}

Texts TextsOf(const List& list) {
    Texts texts;
    for (const LinkedString& item : list) texts.emplace_back(item.strText);
    return texts;
}

// The iterator at the item with the text.
List::Iterator At(const List& list, const std::string& strText) {
    List::Iterator it = list.begin();
    while (it != nullptr && it->strText != strText.c_str()) ++it;
    return it;
}

// The links backwards show in taking items out from the tail.
Texts TakenFromTail(List& list) {
    Texts texts;
    while (!list.IsEmpty()) {
        List::Iterator it = list.GetTail();
        texts.emplace_back(it->strText);
        list.Erase(it);
    }
    return texts;
}

std::string TextOf(const std::unique_ptr<LinkedString>& pItem) { return std::string(pItem->strText); }

}  // namespace

TEST(LinkedStringTest, ItIsMadeOfATextAStringOrAnother) {
    const String str("text");
    const LinkedString first("text"), second(str), third(second), none(nullptr);
    for (const LinkedString* pItem : {&first, &second, &third}) EXPECT_STREQ("text", pItem->strText);
    EXPECT_STREQ("", none.strText);
}

TEST(LinkedStringTest, ACopyOfAnItemInAListIsInNoList) {
    List list;
    Fill(list, {"a", "b"});
    List other;
    other.Push(new LinkedString(*list.GetHead()));
    EXPECT_EQ((Texts{"a"}), TextsOf(other));
    EXPECT_EQ((Texts{"a", "b"}), TextsOf(list));
}

TEST(FifoListTest, ItStartsEmpty) {
    List list;
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(nullptr, list.GetHead());
    EXPECT_EQ(nullptr, list.GetTail());
    EXPECT_EQ(nullptr, list.Pop());
    EXPECT_TRUE(list.begin() == list.end());
}

TEST(FifoListTest, PushAppendsAtTheTail) {
    List list;
    Fill(list, {"a", "b", "c"});
    EXPECT_FALSE(list.IsEmpty());
    EXPECT_EQ((Texts{"a", "b", "c"}), TextsOf(list));
    EXPECT_STREQ("a", list.GetHead()->strText);
    EXPECT_STREQ("c", list.GetTail()->strText);
    EXPECT_EQ((Texts{"c", "b", "a"}), TakenFromTail(list));
}

TEST(FifoListTest, PushTakesAnItemItself) {
    List list;
    auto* pItem = new LinkedString("mine");
    list.Push(pItem);
    EXPECT_EQ(pItem, list.GetHead());
    EXPECT_EQ(pItem, list.GetTail());
}

TEST(FifoListTest, PushCopiesAnItemGivenByReference) {
    List list;
    LinkedString item("before");
    list.Push(item);
    item.strText = "after";
    EXPECT_NE(&item, list.GetHead());
    EXPECT_EQ((Texts{"before"}), TextsOf(list));
}

TEST(FifoListTest, PopGivesTheHeadAway) {
    List list;
    Fill(list, {"a", "b"});
    const std::unique_ptr<LinkedString> pFirst(list.Pop());
    EXPECT_EQ("a", TextOf(pFirst));
    EXPECT_EQ((Texts{"b"}), TextsOf(list));
    const std::unique_ptr<LinkedString> pSecond(list.Pop());
    EXPECT_EQ("b", TextOf(pSecond));
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(nullptr, list.GetTail());
    EXPECT_EQ(nullptr, list.Pop());
}

TEST(FifoListTest, APoppedItemCanBePushedAgain) {
    List list;
    Fill(list, {"a", "b", "c"});
    list.Push(list.Pop());
    EXPECT_EQ((Texts{"b", "c", "a"}), TextsOf(list));
    EXPECT_EQ((Texts{"a", "c", "b"}), TakenFromTail(list));
}

TEST(FifoListTest, InsertPutsInFrontOfTheIteratorAndMovesItToTheNewItem) {
    List list;
    Fill(list, {"a", "c"});
    List::Iterator it = At(list, "c");
    list.Insert(it, "b");
    EXPECT_STREQ("b", it->strText);
    it = list.GetHead();
    list.Insert(it, "first");
    EXPECT_EQ(list.GetHead(), it);
    EXPECT_EQ((Texts{"first", "a", "b", "c"}), TextsOf(list));
    EXPECT_EQ((Texts{"c", "b", "a", "first"}), TakenFromTail(list));
}

TEST(FifoListTest, InsertAtTheEndAppends) {
    List list;
    for (const char* pszText : {"a", "b"}) {
        List::Iterator it = list.end();
        list.Insert(it, pszText);
        EXPECT_EQ(list.GetTail(), it);
        EXPECT_STREQ(pszText, it->strText);
    }
    EXPECT_EQ((Texts{"a", "b"}), TextsOf(list));
    EXPECT_EQ((Texts{"b", "a"}), TakenFromTail(list));
}

TEST(FifoListTest, InsertTakesAnItemItselfOrACopy) {
    List list;
    auto* pItem = new LinkedString("mine");
    List::Iterator it;
    list.Insert(it, pItem);
    EXPECT_EQ(pItem, it);
    list.Insert(it, *pItem);
    EXPECT_NE(pItem, it);
    EXPECT_EQ((Texts{"mine", "mine"}), TextsOf(list));
}

TEST(FifoListTest, RemoveGivesTheItemAndMovesToTheNext) {
    List list;
    Fill(list, {"a", "b", "c"});
    List::Iterator it = At(list, "b");
    const std::unique_ptr<LinkedString> pMiddle(list.Remove(it));
    EXPECT_EQ("b", TextOf(pMiddle));
    EXPECT_STREQ("c", it->strText);
    const std::unique_ptr<LinkedString> pLast(list.Remove(it));
    EXPECT_EQ("c", TextOf(pLast));
    EXPECT_EQ(nullptr, it);
    EXPECT_EQ(nullptr, list.Remove(it));
    EXPECT_EQ((Texts{"a"}), TextsOf(list));
    EXPECT_EQ(list.GetHead(), list.GetTail());
}

TEST(FifoListTest, RemovingTheHeadLeavesTheNextAsHead) {
    List list;
    Fill(list, {"a", "b"});
    List::Iterator it = list.begin();
    const std::unique_ptr<LinkedString> pItem(list.Remove(it));
    EXPECT_EQ(list.GetHead(), it);
    EXPECT_EQ((Texts{"b"}), TakenFromTail(list));
}

TEST(FifoListTest, EraseFreesTheItemAndMovesToTheNext) {
    List list;
    Fill(list, {"a", "b"});
    List::Iterator it = list.begin();
    list.Erase(it);
    EXPECT_STREQ("b", it->strText);
    list.Erase(it);
    EXPECT_EQ(nullptr, it);
    list.Erase(it);
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(nullptr, list.GetTail());
}

TEST(FifoListTest, DeleteItemsLeavesAnEmptyListThatCanBeUsed) {
    List list;
    Fill(list, {"a", "b"});
    list.DeleteItems();
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(nullptr, list.GetTail());
    list.DeleteItems();
    Fill(list, {"c"});
    EXPECT_EQ((Texts{"c"}), TextsOf(list));
}

TEST(FifoListTest, ManyItemsAreFreedWithoutDeepCalls) {
    auto pList = std::make_unique<List>();
    for (int i = 0; i < 300000; ++i) pList->Push("x");
    pList->DeleteItems();
    EXPECT_TRUE(pList->IsEmpty());
}

TEST(FifoListIteratorTest, PostIncrementMovesAndGivesTheOldPlace) {
    List list;
    Fill(list, {"a", "b"});
    List::Iterator it = list.begin();
    EXPECT_STREQ("a", (it++)->strText);
    EXPECT_STREQ("b", it->strText);
    EXPECT_STREQ("b", (it++)->strText);
    EXPECT_EQ(nullptr, it);
    EXPECT_EQ(nullptr, it++);
    EXPECT_EQ(nullptr, it);
}

TEST(FifoListIteratorTest, PreIncrementMovesAndGivesTheNewPlace) {
    List list;
    Fill(list, {"a", "b"});
    List::Iterator it = list.begin();
    EXPECT_STREQ("b", (++it)->strText);
    EXPECT_EQ(nullptr, ++it);
    EXPECT_EQ(nullptr, ++it);
}

TEST(FifoListIteratorTest, ItIsAtNoItemByItself) {
    List::Iterator it;
    EXPECT_EQ(nullptr, it);
    EXPECT_EQ(nullptr, it++);
}

TEST(FifoListDeathTest, ANullItemEndsTheProcess) {
    List list;
    List::Iterator it;
    LinkedString* const pNone = nullptr;
    EXPECT_DEATH(list.Push(pNone), "shared/System/kvFifoList.*pItem != nullptr");
    EXPECT_DEATH(list.Insert(it, pNone), "shared/System/kvFifoList.*pItem != nullptr");
}

}  // namespace Kestrova::Test
