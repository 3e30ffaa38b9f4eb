// The SQL editor without widgets: the callbacks through which its caller
// lists tables and fields, the lists they fill, quoting and inserting names
// at the caret, the splitters' size rules, and what the memo completes.
#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <functional>

// Fills list with the database's table names; the editor never asks for system tables.
using TGetTableNamesEvent = std::function<void(QStringList& list, bool systemTables)>;
// Fills list with the column names of a table.
using TGetFieldNamesEvent = std::function<void(const QString& tableName, QStringList& list)>;
// True when a name must be quoted.
using TReqQuoteCharEvent = std::function<bool(const QString& name)>;

// True unless every character of name is a digit, an upper-case letter A to
// Z or "_"; so lower-case letters, blanks and anything else need quoting, a
// leading digit does not, and an empty name does.
bool DefaultReqQuoteChar(const QString& name);

// The engine's SQL needs a name quoted when it is not a plain identifier (a
// letter or "_", then letters, digits, "_" or "$", all ASCII) or when it is
// a keyword of the dialect.
bool OstSqlNeedsQuote(const QString& name);
// The first table the SQL reads from (the name after its first FROM), empty without one.
QString SqlFromTable(const QString& sql);

// The name as it is inserted: enclosed in quote on both sides when quote is
// neither empty nor one blank, the name is not "*" and needsQuote (or
// DefaultReqQuoteChar when unassigned) says so.
QString QuoteSqlName(const QString& name, const QString& quote, const TReqQuoteCharEvent& needsQuote);

// How a name is put in front of what precedes the caret: a blank (unless
// the caret is at the start or follows a blank or "(", or the name starts
// with a blank), or ", " for a list (unless a comma precedes the caret).
enum class TSqlInsertMode { Blank, List };

struct TSqlInsertion {
    QString Text;
    int Caret = 0; // after the inserted text
};

// Inserts name into text at caret (an index into text).
TSqlInsertion InsertSqlName(const QString& text, int caret, const QString& name, TSqlInsertMode mode);

// The size rules of the two splitters: between the table and the field
// list, a new size above 44 and below the list panel's height minus 65;
// between the lists and the memo, above 100 and below the client width minus 100.
bool AcceptTableSplitterSize(int newSize, int listPanelHeight);
bool AcceptMemoSplitterSize(int newSize, int clientWidth);

// The memo's one tab stop of 10 dialog units, in characters of the memo's
// font: a dialog unit is a quarter of the dialog font's average character width.
int SqlTabWidthInChars(int dialogAverageCharWidth, int memoCharWidth);

class TSqlEditCore {
public:
    TSqlEditCore(TGetTableNamesEvent tableNames, TGetFieldNamesEvent fieldNames, const QString& startTableName,
                 const QString& quoteChar, TReqQuoteCharEvent needsQuote);

    // Fills the sorted table list and selects the start table (the first
    // entry equal to it, case-sensitive), else the first entry, listing its fields.
    void FillTables();
    const QStringList& Tables() const { return m_tables; }
    int SelectedTable() const { return m_selected; }
    QString SelectedTableName() const { return m_tables.value(m_selected); }
    // Selects a table (-1 for none) and lists its fields: "*" first when
    // the callback delivered any.
    void SelectTable(int index);
    const QStringList& Fields() const { return m_fields; }

    // Inserting the selected table, or the given fields in list order, into
    // text at caret: the text and caret afterwards. A table inserted into an
    // empty text leaves the caret at the start.
    TSqlInsertion InsertTable(const QString& text, int caret) const;
    TSqlInsertion InsertFields(const QString& text, int caret, const QStringList& fields) const;

    // Completion for the word being typed. context: the words before the
    // caret as the memo splits them at ".", the last one being typed (empty
    // right after a "."). text: the whole text, for the tables it names and
    // their aliases; caret: where the word ends in it. After "Table." or "alias." the table's columns; else
    // keywords, functions, the database's tables and the columns of the
    // tables the text names; after COLLATE the collation names. Sorted, at
    // most limit entries.
    QStringList Completions(const QStringList& context, const QString& text, int caret, int limit = 400);
    // The columns of a table (cached), found without regard to case.
    QStringList ColumnsOf(const QString& tableName);
    // The table a name stands for in text: a table of the list, or an alias
    // given to one ("FROM Customers c", "JOIN Orders AS o"); empty for none.
    QString ResolveTable(const QString& name, const QString& text) const;

    // The words the memo highlights, lower case: the dialect's keywords, its
    // functions and collations, and the database's table names.
    static QStringList Keywords();
    static QStringList Functions();
    static QStringList Collations(const QString& prefix);

private:
    QStringList TablesNamedIn(const QString& text) const;

    TGetTableNamesEvent m_tableNames;
    TGetFieldNamesEvent m_fieldNames;
    QString m_startTable, m_quote;
    TReqQuoteCharEvent m_needsQuote;
    QStringList m_tables, m_fields;
    int m_selected = -1;
    QHash<QString, QStringList> m_columns; // lower-case table name -> columns
};
