// Fulltext index and foreign key (integrity rule) definitions of a table.
#pragma once

#include "engine/ostengine.h"
#include "engine/base/tcollection.h"

#include <functional>

class TOstFulltextIndexDef : public TCollectionItem {
public:
    QString Name;         // carries a file extension, e.g. "Words.fti"
    QString Fields;       // ";"-separated column names
    QString Dictionary;   // dictionary table; empty while a new one is pending
    int MinRelevance = 0;
    QString Separators;   // empty = the engine's default separators
    int Options = 0;
    void Assign(const TOstFulltextIndexDef& src);
    bool SameAs(const TOstFulltextIndexDef& o) const;
};

class TOstFulltextIndexDefs : public TTypedCollection<TOstFulltextIndexDef> {
public:
    TOstFulltextIndexDef* Add(const QString& name, const QString& fields, const QString& dictionary);
    using TTypedCollection<TOstFulltextIndexDef>::Add;
    int IndexOf(const QString& name) const;
    TOstFulltextIndexDef* GetFulltextIndexDef(int i) const { return Items(i); }
    void Assign(const TOstFulltextIndexDefs& src);
    std::function<void()> Updater;
    void Update() { if (Updater) Updater(); }
};

class TOstForeignKeyDef : public TCollectionItem {
public:
    QString Name;
    QString ParentTable;
    QString ChildFields;   // ";"-separated, in the order of ParentFields
    QString ParentFields;  // the Fields text of a unique index of the parent table
    TOstForeignKeyAction UpdateAction = faReject;
    TOstForeignKeyAction DeleteAction = faReject;
    void Assign(const TOstForeignKeyDef& src);
    bool SameAs(const TOstForeignKeyDef& o) const;
};

class TOstForeignKeyDefs : public TTypedCollection<TOstForeignKeyDef> {
public:
    TOstForeignKeyDef* Add(const QString& name);
    using TTypedCollection<TOstForeignKeyDef>::Add;
    int IndexOf(const QString& name) const;
    TOstForeignKeyDef* GetIntegrityRule(int i) const { return Items(i); }
    void Assign(const TOstForeignKeyDefs& src);
    std::function<void()> Updater;
    void Update() { if (Updater) Updater(); }
};

QString GetForeignKeyActionName(TOstForeignKeyAction a); // "Reject", "SetNull", "SetDefault", "Cascade"
TOstForeignKeyAction GetForeignKeyActionFromName(const QString& s, bool* ok = nullptr);
