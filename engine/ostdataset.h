// TOstDataSet (base of table and query) and TOstTable.
#pragma once

#include "engine/ostdatabase.h"
#include "engine/ostdefs.h"
#include "engine/ostfielddef.h"
#include "engine/base/tdataset.h"

#include <memory>

class OstConnection;
struct OstTableMeta;
class OstCursor;
class OstCryptRequester;

// The field classes of engine datasets.

// dtChar, dtString and dtEnum columns.
class TOstStringField : public TField {
    Q_OBJECT
    Q_PROPERTY(bool FixedChar READ GetFixedChar WRITE SetFixedChar)
public:
    using TField::TField;
    // dtChar columns: values are padded to the size; AsString drops the padding.
    bool GetFixedChar() const { return m_fixedChar; }
    void SetFixedChar(bool v) { m_fixedChar = v; }
    QString TrimmedValue() const;

private:
    bool m_fixedChar = false;
};

// dtWideString columns.
class TOstWideStringField : public TField {
    Q_OBJECT
public:
    using TField::TField;
};

// dtBlob, dtMemo and dtWideMemo columns.
class TOstBlobField : public TField {
    Q_OBJECT
public:
    using TField::TField;
    qint64 BlobSize() const { return AsBytes().size(); }
    // Store the content of a file / write the content to a file; EDatabaseError
    // naming the file when it cannot be read or written.
    void LoadFromFile(const QString& fileName);
    void SaveToFile(const QString& fileName) const;
};

// dtLargeInt and dtLargeLink columns.
class TOstLargeIntField : public TField {
    Q_OBJECT
public:
    using TField::TField;
};

class TOstDataSet : public TDataSet {
    Q_OBJECT
    Q_PROPERTY(QString DatabaseName READ GetDatabaseName WRITE SetDatabaseName)

public:
    explicit TOstDataSet(TComponent* owner = nullptr);
    ~TOstDataSet() override;

    QString GetDatabaseName() const { return m_databaseName; }
    void SetDatabaseName(const QString& name);
    // The database component named by DatabaseName (one of the same owner
    // first, then any); a private one is made for a bare location (a directory
    // or an ".ostd" file). nullptr when no name is set.
    TOstDatabase* GetDatabase();

    TOstFieldDefs& GetFieldDefsOst() { return m_fieldDefsOst; }
    void SetFieldDefsOst(const TOstFieldDefs& defs) { m_fieldDefsOst.Assign(defs); }
    TOstForeignKeyDefs& GetIntegrityRules() { return m_foreignKeys; }
    void SetIntegrityRules(const TOstForeignKeyDefs& defs) { m_foreignKeys.Assign(defs); }
    QString GetVersion() const { return OstEngineVersion(); }

    TOstProgressEvent OnProgress;

    const QMetaObject* GetFieldClass(TFieldType type) const override;

protected:
    TField* CreateField(const TFieldDef& def) override;
    // Fills the library FieldDefs() from the engine definitions.
    void FieldDefsFromOst();
    std::shared_ptr<OstConnection> RequireConnection();

    TOstFieldDefs m_fieldDefsOst;
    TOstForeignKeyDefs m_foreignKeys;
    QString m_databaseName;
    TOstDatabase* m_privateDatabase = nullptr;
};

class TOstTable : public TOstDataSet {
    Q_OBJECT
    Q_CLASSINFO("PasswordProperty", "EncryptionPassword")
    Q_PROPERTY(QString TableName READ GetTableName WRITE SetTableName)
    Q_PROPERTY(int TableLevel READ GetTableLevel WRITE SetTableLevel)
    Q_PROPERTY(int Capacity READ GetCapacity WRITE SetCapacity)
    Q_PROPERTY(QString CollationName READ GetCollationName WRITE SetCollationName)
    Q_PROPERTY(int EncryptionMethod READ GetEncryptionMethod WRITE SetEncryptionMethod)
    Q_PROPERTY(QString EncryptionPassword READ GetEncryptionPassword WRITE SetEncryptionPassword)
    // Whether a module file keeps EncryptionPassword (see TStreamPasswords).
    Q_PROPERTY(bool StorePassword READ GetStorePassword WRITE SetStorePassword)
    Q_PROPERTY(QString IndexName READ GetIndexName WRITE SetIndexName)
    Q_PROPERTY(QString FulltextIndexName READ GetFulltextIndexName WRITE SetFulltextIndexName)
    Q_PROPERTY(bool Exclusive READ GetExclusive WRITE SetExclusive)
    Q_PROPERTY(bool ReadOnly READ GetReadOnly WRITE SetReadOnly)

public:
    explicit TOstTable(TComponent* owner = nullptr);
    ~TOstTable() override;

    QString GetTableName() const { return m_tableName; }
    void SetTableName(const QString& name);
    int GetTableLevel() const { return m_tableLevel; }
    void SetTableLevel(int level);
    int GetCapacity() const { return m_capacity; }
    void SetCapacity(int rows);
    QString GetCollationName() const { return m_collation; }
    void SetCollationName(const QString& name) { m_collation = name; }
    int GetEncryptionMethod() const { return m_encryptionMethod; }
    void SetEncryptionMethod(int m) { m_encryptionMethod = static_cast<uint8_t>(m); }
    QString GetEncryptionPassword() const { return m_password; }
    void SetEncryptionPassword(const QString& p) { m_password = p; }
    bool GetStorePassword() const { return m_storePassword; }
    void SetStorePassword(bool v) { m_storePassword = v; }
    QString GetIndexName() const { return m_indexName; }
    void SetIndexName(const QString& name);
    // The fulltext index that word searches of this table use.
    QString GetFulltextIndexName() const { return m_fulltextIndexName; }
    void SetFulltextIndexName(const QString& name); // an open filtered table filters again
    bool GetExclusive() const { return m_exclusive; }
    void SetExclusive(bool v);
    bool GetReadOnly() const { return m_readOnly; }
    void SetReadOnly(bool v);
    bool CanModify() const override { return !m_readOnly; }

    TIndexDefs& IndexDefs() { return m_indexDefs; }
    TOstFulltextIndexDefs& FulltextIndexDefs() { return m_fulltextDefs; }
    TCheckConstraints& CheckConstraints() { return m_checks; }
    void SetCheckConstraints(const TCheckConstraints& c) { m_checks.Assign(c); }

    // Definitions: read back from the file (all of them) / checked without writing.
    void ReadDefinitions();
    void ValidateDefinitions() const;
    bool Exists();

    void CreateTable();
    void DeleteTable();
    void EmptyTable();
    void RenameTable(const QString& newName);
    // Restructures the stored table to the definitions this component holds.
    // Changes that no stored row can contradict (a column added at the end,
    // nullable or with a constant default; a column renamed; wider text; a
    // higher precision; a check dropped or its message changed; a foreign key
    // dropped; capacity; a collation no index depends on) are made in place,
    // without copying a row; the table comes out as a rebuild leaves it.
    void AlterTable();
    // Whether AlterTable would apply the definitions this component holds in
    // place; when not, reason says why the rows must be copied ("column
    // \"Qty\" changes its type, and its values are converted"). Raises as
    // AlterTable does for invalid definitions or a missing table.
    bool CanAlterInPlace(QString* reason = nullptr);
    // capacity: the rows the index is laid out for below table level 4 (0 = the table's).
    void AddIndex(const QString& name, const QString& fields, TIndexOptions options,
                  const QString& descFields = QString(), int capacity = 0);
    void DeleteIndex(const QString& name);
    void AddFulltextIndex2(const QString& name, const QString& fields, const QString& dictionary,
                           const QString& separators);
    void DeleteFulltextIndex(const QString& name);

    // Record id (the engine's row id) of the current record.
    qint64 RecordId() const;
    bool FindRecordId(qint64 id);

protected:
    void InternalOpen() override;
    void InternalClose() override;
    int InternalRecordCount() const override;
    QVariantList InternalGetRecord(int recNo) const override;
    int InternalPost(bool inserting, int recNo, const QVariantList& values) override;
    int InternalDelete(int recNo) override;
    void InternalRefresh() override;
    void InternalInitRecord(QVariantList& values) override;
    void FilterChanged() override;

private:
    friend class OstTableOps;
    friend class TOstDataSet;
    std::shared_ptr<OstCryptRequester> CryptRequester();
    std::shared_ptr<OstCryptRequester> m_cryptRequester;
    void ReloadCursor(qint64 keepId);
    void LoadIds(int upTo) const;
    int PositionOfId(qint64 id) const;
    void RebuildIfCollatorChanged();
    void CheckInactive(const char* what) const;
    void LoadFromMeta(const OstTableMeta& meta);
    OstTableMeta ToMeta() const;

    QString m_tableName, m_collation, m_password, m_indexName, m_fulltextIndexName;
    int m_tableLevel = OstDefaultTableLevel;
    int m_capacity = 100000;
    uint8_t m_encryptionMethod = emDefault;
    bool m_exclusive = false, m_readOnly = false, m_storePassword = false;
    TIndexDefs m_indexDefs;
    TOstFulltextIndexDefs m_fulltextDefs;
    TCheckConstraints m_checks;
    std::unique_ptr<OstCursor> m_cursor;
    std::shared_ptr<OstConnection> m_conn;
};
