// TOstFieldDef / TOstFieldDefs: engine column definitions with every member the
// table file stores. FieldNo is the 1-based number a column was read with; it
// survives renames and moves and is how a restructure matches old and new columns.
#pragma once

#include "engine/ostengine.h"
#include "engine/base/tcollection.h"
#include "engine/base/tdefs.h"

class TOstFieldDef : public TCollectionItem {
public:
    QString GetName() const { return m_name; }
    void SetName(const QString& v) { m_name = v; }
    int GetDataTypeOst() const { return m_dataType; }
    void SetDataTypeOst(int t) { m_dataType = static_cast<uint8_t>(t & 0x7F); }
    int GetSize() const { return m_size; }
    void SetSize(int v) { m_size = v; }
    int GetPrecision() const { return m_precision; }
    void SetPrecision(int v) { m_precision = v; }
    bool GetNullable() const { return m_nullable && m_dataType != dtAutoInc; }
    void SetNullable(bool v) { m_nullable = v; }
    bool GetRequired() const { return !GetNullable(); }
    bool GetIsSpecial() const { return m_special; }
    void SetIsSpecial(bool v) { m_special = v; }
    bool GetInternalCalcField() const { return m_internalCalc; }
    void SetInternalCalcField(bool v) { m_internalCalc = v; }
    QString GetCalcExpression() const { return m_calcExpression; }
    void SetCalcExpression(const QString& v) { m_calcExpression = v; }
    // Type-specific settings: collation (text types), enumeration values
    // (comma text), linked table name (link types), indication (dtAutoInc).
    QString GetSpec() const { return m_spec; }
    void SetSpec(const QString& v) { m_spec = v; }
    // The collation of a text column lives in its specification string.
    QString GetCollationName() const { return IsCollatedType(m_dataType) ? m_spec : QString(); }
    void SetCollationName(const QString& v) { if (IsCollatedType(m_dataType)) m_spec = v; }
    uint16_t GetFieldNo() const { return m_fieldNo; }
    void SetFieldNo(uint16_t v) { m_fieldNo = v; }

    // Copies every member but the position.
    void Assign(const TOstFieldDef& src);
    // Maps a library field definition to the closest engine type that a table
    // of the given level accepts; without a level, the level of the collection
    // the definition belongs to.
    void Assign(const TFieldDef& src);
    void Assign(const TFieldDef& src, int tableLevel);
    bool SameDefinition(const TOstFieldDef& o) const;
    // Enumeration values of a dtEnum column (trimmed, empty entries dropped).
    QStringList EnumValues() const;

private:
    QString m_name;
    uint8_t m_dataType = dtString;
    int m_size = 0;
    int m_precision = 0;
    bool m_nullable = true;
    bool m_special = false;
    bool m_internalCalc = false;
    QString m_calcExpression;
    QString m_spec;
    uint16_t m_fieldNo = 0;
};

class TOstFieldDefs : public TTypedCollection<TOstFieldDef> {
public:
    TOstFieldDef* Add(const QString& name, int dataType, int size);
    using TTypedCollection<TOstFieldDef>::Add;
    int IndexOf(const QString& name) const; // case-insensitive, -1 when absent
    TOstFieldDef* GetFieldDef(int i) const { return Items(i); }
    int GetCount() const { return Count(); }
    TOstFieldDef* Find(const QString& name) const;
    void Assign(const TOstFieldDefs& src);
    // The level of the table the definitions are for (a table component keeps
    // it current); library definitions assigned to items map to what it accepts.
    int GetTableLevel() const { return m_tableLevel; }
    void SetTableLevel(int level) { m_tableLevel = level; }
    std::function<void()> Updater;
    void Update() { if (Updater) Updater(); }

private:
    int m_tableLevel = OstDefaultTableLevel;
};
