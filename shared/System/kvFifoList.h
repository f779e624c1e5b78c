// kvFifoList.h - a doubly linked list that owns its items, and the item that holds one line of text.
#pragma once

#include "shared/System/kvAssert.h"
#include "shared/System/kvString.h"

namespace Kestrova {

// First in, first out. An item T can be copied and has the links m_pNext and m_pPrevious, null while it is in
// no list. Its list must have access to them (see LinkedString).
// Owner:   owns its items; one that Pop or Remove gives back belongs to the caller again.
// Threads: none of its own: one thread at a time.
// Errors:  a null item is a mistake of the caller and ends the process.
template <class T>
class FifoList {
public:
    // A node, or null at the end; good until its item leaves the list. An iterator handed to a list must be
    // at one of its nodes or at the end.
    class Iterator {
    public:
        Iterator(T* pNode = nullptr) : m_pNode(pNode) {}
        operator T*() const { return m_pNode; }
        T* operator->() const { return m_pNode; }
        // To the next node; at the end it stays there. The postfix form gives the old place.
        Iterator& operator++() {
            if (m_pNode != nullptr) m_pNode = m_pNode->m_pNext;
            return *this;
        }
        Iterator operator++(int) {
            const Iterator old(*this);
            ++*this;
            return old;
        }

    private:
        T* m_pNode;
    };

    FifoList() = default;
    ~FifoList() { DeleteItems(); }
    FifoList(const FifoList&) = delete;
    FifoList& operator=(const FifoList&) = delete;

    bool IsEmpty() const { return m_pHead == nullptr; }
    T* GetHead() const { return m_pHead; }  // null when empty
    T* GetTail() const { return m_pTail; }
    Iterator begin() const { return m_pHead; }
    Iterator end() const { return nullptr; }

    // Appends; takes the item, or a copy of it.
    void Push(T* pItem) { Link(pItem, nullptr); }
    void Push(const T& item) { Push(new T(item)); }
    // Takes the head out and gives it to the caller; null when empty.
    [[nodiscard]] T* Pop() { return Unlink(m_pHead); }

    // Puts the item, or a copy of it, in front of the iterator's node, at the end behind the tail. The
    // iterator is then at the new item.
    void Insert(Iterator& it, T* pItem) {
        Link(pItem, it);
        it = pItem;
    }
    void Insert(Iterator& it, const T& item) { Insert(it, new T(item)); }
    // Takes the iterator's node out and gives it to the caller, null at the end. The iterator moves on.
    [[nodiscard]] T* Remove(Iterator& it) { return Unlink(it++); }
    // Frees the iterator's node, if it is at one. The iterator moves on.
    void Erase(Iterator& it) { delete Remove(it); }
    // Frees all nodes.
    void DeleteItems() {
        while (m_pHead != nullptr) delete Pop();
    }

private:
    static constexpr char kSourceUnit[] = "shared/System/kvFifoList";

    // The pointer to the node behind pPrevious (or the head), and the
    // pointer to the node before pNext (or the tail).
    T*& LinkBehind(T* pPrevious) { return pPrevious != nullptr ? pPrevious->m_pNext : m_pHead; }
    T*& LinkBefore(T* pNext) { return pNext != nullptr ? pNext->m_pPrevious : m_pTail; }

    void Link(T* pItem, T* pNext) {
        KV_ASSERT(pItem != nullptr);
        pItem->m_pNext = pNext;
        pItem->m_pPrevious = LinkBefore(pNext);
        LinkBehind(pItem->m_pPrevious) = pItem;
        LinkBefore(pNext) = pItem;
    }

    T* Unlink(T* pItem) {
        if (pItem == nullptr) return nullptr;
        LinkBehind(pItem->m_pPrevious) = pItem->m_pNext;
        LinkBefore(pItem->m_pNext) = pItem->m_pPrevious;
        pItem->m_pNext = pItem->m_pPrevious = nullptr;
        return pItem;
    }

    T* m_pHead = nullptr;
    T* m_pTail = nullptr;
};

// A text as an item of a list. A copy takes the text and is in no list.
class LinkedString {
public:
    LinkedString(const char* pszText) : strText(pszText) {}  // null gives the empty text
    LinkedString(const String& str) : strText(str) {}
    LinkedString(const LinkedString& other) : strText(other.strText) {}
    LinkedString& operator=(const LinkedString&) = delete;

    String strText;

private:
    friend class FifoList<LinkedString>;

    LinkedString* m_pNext = nullptr;
    LinkedString* m_pPrevious = nullptr;
};

}  // namespace Kestrova
