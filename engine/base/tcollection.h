// TCollection / TCollectionItem: ordered, owning lists of definition items.
// Each item gets an identifier (ID) unique within its collection for its
// lifetime, and knows its position (Index).
#pragma once

#include <QVector>
#include <functional>

class TCollection;

class TCollectionItem {
public:
    virtual ~TCollectionItem() = default;
    int ID() const { return m_id; }
    int Index() const;
    void SetIndex(int newIndex);
    TCollection* Collection() const { return m_collection; }

private:
    friend class TCollection;
    TCollection* m_collection = nullptr;
    int m_id = 0;
};

class TCollection {
public:
    TCollection() = default;
    TCollection(const TCollection&) = delete;
    TCollection& operator=(const TCollection&) = delete;
    virtual ~TCollection();

    int Count() const { return m_items.size(); }
    void Clear();
    void Delete(int index);
    int IndexOfItem(const TCollectionItem* item) const { return m_items.indexOf(const_cast<TCollectionItem*>(item)); }
    TCollectionItem* FindItemID(int id) const;
    void Move(int from, int to);
    void BeginUpdate() { ++m_updateCount; }
    void EndUpdate() { --m_updateCount; }
    int UpdateCount() const { return m_updateCount; }

protected:
    TCollectionItem* AddItem(TCollectionItem* item);
    TCollectionItem* ItemAt(int i) const { return m_items.at(i); }

private:
    QVector<TCollectionItem*> m_items;
    int m_nextId = 0;
    int m_updateCount = 0;
};

// Typed view over TCollection for one item class.
template <class Item> class TTypedCollection : public TCollection {
public:
    Item* Add() { return static_cast<Item*>(AddItem(new Item())); }
    Item* Items(int i) const { return static_cast<Item*>(ItemAt(i)); }
    Item* operator[](int i) const { return Items(i); }
    Item* FindByID(int id) const { return static_cast<Item*>(FindItemID(id)); }
    // Range-for support.
    struct iterator {
        const TTypedCollection* c; int i;
        Item* operator*() const { return c->Items(i); }
        iterator& operator++() { ++i; return *this; }
        bool operator!=(const iterator& o) const { return i != o.i; }
    };
    iterator begin() const { return {this, 0}; }
    iterator end() const { return {this, Count()}; }
};
