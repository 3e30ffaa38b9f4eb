#include "indexdef/core/ostdictionaries.h"

#include "engine/ostdataset.h"

TDictionaryItem* TDictionaries::Add(const QString& name, int indexID, int maxKeywordLen, bool unicode,
                                    const QString& separators, const QString& collation, int encryption,
                                    const QString& key) {
    TDictionaryItem* item = Add();
    item->Name = name;
    item->IndexID = indexID;
    item->MaxKeywordLen = maxKeywordLen;
    item->Unicode = unicode;
    item->Separators = separators;
    item->Collation = collation;
    item->Encryption = encryption;
    item->Key = key;
    return item;
}

TDictionaryItem* TDictionaries::FindDictionaryEntry(int indexID) const {
    for (TDictionaryItem* item : *this)
        if (item->IndexID == indexID) return item;
    return nullptr;
}

void TDictionaries::DeleteDictionaryEntry(int indexID) {
    if (const TDictionaryItem* item = FindDictionaryEntry(indexID)) Delete(item->Index());
}

void TDictionaries::SetDictionary(int i, const TDictionaryItem& source) {
    TDictionaryItem* item = Items(i);
    item->Name = source.Name;
    item->IndexID = source.IndexID;
    item->MaxKeywordLen = source.MaxKeywordLen;
    item->Unicode = source.Unicode;
    item->Collation = source.Collation;
    item->Separators = source.Separators;
    item->Encryption = source.Encryption;
    item->Key = source.Key;
}

void CreateDictionaryTable(const QString& databaseName, int tableLevel, const TDictionaryItem& item) {
    TOstTable dictionary(nullptr);
    dictionary.SetDatabaseName(databaseName);
    dictionary.SetTableLevel(tableLevel);
    dictionary.SetTableName(item.Name.trimmed());
    TOstFieldDefs& columns = dictionary.GetFieldDefsOst();
    const int size = std::clamp(item.MaxKeywordLen, 1, DictionaryKeywordColumnMax);
    columns.Add(QStringLiteral("Keyword"), item.Unicode ? dtWideString : dtString, size)->SetNullable(false);
    columns.Add(QStringLiteral("Relevance"), dtWord, 0)->SetNullable(false);
    columns.Add(QStringLiteral("RecordId"), dtAutoInc, 0)->SetNullable(false);
    dictionary.IndexDefs().Add(QStringLiteral("sys_primary"), QStringLiteral("RecordId"), ixPrimary | ixUnique);
    // Collations belong to level 6; below it the dictionary compares as the engine does.
    if (OstLevel::HasCollations(tableLevel)) dictionary.SetCollationName(item.Collation);
    dictionary.SetEncryptionMethod(item.Encryption);
    dictionary.SetEncryptionPassword(item.Key);
    dictionary.CreateTable();
}
