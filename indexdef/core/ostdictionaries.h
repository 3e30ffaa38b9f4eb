// Fulltext dictionaries waiting to be created. A fulltext index defined with
// "(New Dictionary)" names no dictionary table yet: the designer keeps the new
// dictionary's settings here, keyed by the collection item identifier of the
// index definition that introduced it, and creates the table when the index
// changes are applied.
#pragma once

#include "engine/base/tcollection.h"

#include <QString>

class TDictionaryItem : public TCollectionItem {
public:
    QString Name;          // the dictionary table, as typed
    int IndexID = 0;       // the fulltext index definition's item identifier
    int MaxKeywordLen = 20;
    bool Unicode = false;  // a chosen column is a wide text column
    QString Collation;
    QString Separators;    // empty: the engine's default
    int Encryption = 0;    // ordinal of the encryption method
    QString Key;           // password (and key) for the encryption
};

class TDictionaries : public TTypedCollection<TDictionaryItem> {
public:
    // Appends an entry with these values and returns it.
    TDictionaryItem* Add(const QString& name, int indexID, int maxKeywordLen, bool unicode, const QString& separators,
                         const QString& collation, int encryption, const QString& key);
    using TTypedCollection<TDictionaryItem>::Add;
    // The first entry of that index, or nullptr.
    TDictionaryItem* FindDictionaryEntry(int indexID) const;
    // Deletes the entry FindDictionaryEntry finds; nothing when there is none.
    void DeleteDictionaryEntry(int indexID);
    TDictionaryItem* GetDictionary(int i) const { return Items(i); }
    void SetDictionary(int i, const TDictionaryItem& item);
};

// The largest text column the engine holds (a keyword length of 32768 makes
// a Keyword column of this size: no word is cut before it).
constexpr int DictionaryKeywordColumnMax = 32767;

// Creates the dictionary table of an entry in the database named
// databaseName: Keyword (wide text when Unicode, else text, of MaxKeywordLen
// characters), Relevance (dtWord) and RecordId (dtAutoInc), none nullable,
// the primary index "sys_primary" on RecordId, the entry's collation (from
// level 6), encryption method and key. EOstraError when the engine refuses.
void CreateDictionaryTable(const QString& databaseName, int tableLevel, const TDictionaryItem& item);
