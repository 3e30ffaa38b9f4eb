// The package's entry points and its property editors. A host loads the
// package (its load-time initialisation installs the engine's password
// handler) and then calls Register once, which puts the engine's components
// on the palette page "Ostra" and binds the component and property editors
// to them.
#pragma once

#include "studio/designintf/propertyeditor.h"

#include <QtGlobal>

extern "C" {
Q_DECL_EXPORT void Register();
// A line for the host's list of packages.
Q_DECL_EXPORT const char* OstraPackageDescription();
}

class TComponent;
class TOstDataSet;
class TOstDatabase;
class TOstTable;

// Name of a database component; renaming it renames the DatabaseName of the
// tables and queries of the same module that used the old name. Open ones
// are closed for it and opened again, all in one undoable step; when any
// part fails, nothing is left changed.
class TOstDatabaseNameProperty : public TStringProperty {
public:
    using TStringProperty::TStringProperty;
    void SetValue(const QString& value) override;
};

// Where a database lives, chosen in the database selection ("..."). A
// connected database is disconnected around the change and connected again;
// a folder makes it a directory database, a file a single-file one.
class TOstDatabaseLocationProperty : public TStringProperty {
public:
    using TStringProperty::TStringProperty;
    TPropertyAttributes GetAttributes() const override;
    void SetValue(const QString& value) override;
    void Edit() override;
};

// The private directory, chosen in a folder chooser.
class TOstDatabasePrivateDirProperty : public TStringProperty {
public:
    using TStringProperty::TStringProperty;
    TPropertyAttributes GetAttributes() const override;
    void Edit() override;
};

// A dataset's database: a database component's name or a location, chosen
// in the "Database Name" dialog ("..."). An open dataset is closed before its
// database changes; a location chosen there may get a database component of
// its own (GetNewDatabaseConnection).
class TOstDataSetDatabaseNameProperty : public TStringProperty {
public:
    using TStringProperty::TStringProperty;
    TPropertyAttributes GetAttributes() const override;
    void SetValue(const QString& value) override;
    void Edit() override;
};

// The table names of the table's database, sorted.
class TOstTableTableNameProperty : public TStringProperty {
public:
    using TStringProperty::TStringProperty;
    TPropertyAttributes GetAttributes() const override;
    void GetValues(QStringList& values) const override;
};

// The names of the table's indexes / fulltext indexes, sorted.
class TOstTableIndexNameProperty : public TStringProperty {
public:
    using TStringProperty::TStringProperty;
    TPropertyAttributes GetAttributes() const override;
    void GetValues(QStringList& values) const override;
};

class TOstTableFulltextIndexNameProperty : public TStringProperty {
public:
    using TStringProperty::TStringProperty;
    TPropertyAttributes GetAttributes() const override;
    void GetValues(QStringList& values) const override;
};

// The batch move's report file, chosen in a file chooser.
class TOstBatchMoveFileNameProperty : public TStringProperty {
public:
    using TStringProperty::TStringProperty;
    TPropertyAttributes GetAttributes() const override;
    void Edit() override;
};

// The enumeration columns of the value set's dataset.
class TOstEnumFieldProperty : public TDBStringProperty {
public:
    using TDBStringProperty::TDBStringProperty;
    TDataSet* GetDataSet() const override;
    void GetValues(QStringList& values) const override;
};

// The blob columns of the blob provider's dataset.
class TOstBlobproviderFieldProperty : public TDBStringProperty {
public:
    using TDBStringProperty::TDBStringProperty;
    TDataSet* GetDataSet() const override;
    void GetValues(QStringList& values) const override;
};

// A dataset's Filter: "..." builds it in the filter dialog over the dataset's columns.
class TOstDataSetFilterProperty : public TStringProperty {
public:
    using TStringProperty::TStringProperty;
    TPropertyAttributes GetAttributes() const override;
    void Edit() override;
};

// A query's SQL: the inspector shows its first line (and an ellipsis when
// more follows) and never rewrites it; "..." edits it in the SQL editor,
// which lists the tables of the query's database and their columns and runs
// statements against that database.
class TOstSQLBuilderProperty : public TStringProperty {
public:
    using TStringProperty::TStringProperty;
    TPropertyAttributes GetAttributes() const override;
    QString GetValue() const override;
    // The text, lines separated by line breaks, as it is to be stored.
    void SetValue(const QString& value) override;
    void Edit() override;
};

// The table names of the database a dataset's DatabaseName names: its
// database component, or a temporary one for a bare location. Empty when
// the database cannot be read.
// module: the module whose database components come first.
QStringList DatabaseTableNames(const QString& databaseName, const TComponent* module = nullptr);
