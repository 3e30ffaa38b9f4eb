// TCollection and its items.
#include "engine/base/tcollection.h"

int TCollectionItem::Index() const { return m_collection ? m_collection->IndexOfItem(this) : -1; }

void TCollectionItem::SetIndex(int newIndex) {
    if (m_collection) m_collection->Move(Index(), newIndex);
}

TCollection::~TCollection() { Clear(); }

void TCollection::Clear() {
    for (TCollectionItem* it : m_items) delete it;
    m_items.clear();
}

void TCollection::Delete(int index) {
    if (index < 0 || index >= m_items.size()) return;
    delete m_items.takeAt(index);
}

TCollectionItem* TCollection::FindItemID(int id) const {
    for (TCollectionItem* it : m_items)
        if (it->m_id == id) return it;
    return nullptr;
}

void TCollection::Move(int from, int to) {
    if (from < 0 || from >= m_items.size() || from == to) return;
    to = qBound(0, to, static_cast<int>(m_items.size()) - 1);
    m_items.move(from, to);
}

TCollectionItem* TCollection::AddItem(TCollectionItem* item) {
    item->m_collection = this;
    item->m_id = m_nextId++;
    m_items.append(item);
    return item;
}
