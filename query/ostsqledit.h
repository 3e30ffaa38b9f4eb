// "SQL Query Builder": edits the SQL text of a query. Beside the SQL memo it
// lists the tables and, for the selected table, the fields; a double click
// inserts a name at the caret, quoted when it needs it. The form does not
// know the database: the caller lists tables and fields through callbacks
// and, to let the user run the statement, hands it a way to make a query on
// the database. Rules without widgets live in TSqlEditCore.
#pragma once

#include "query/core/ostsqleditcore.h"

#include <QDialog>
#include <functional>
#include <memory>

class QAction;
class QLabel;
class QListWidget;
class QPushButton;
class QSplitter;
class QTableView;
class TOstDataSetModel;
class TOstQuery;
class TSqlMemo;

// Makes a query on the edited query's database (its SQL is set by the
// editor); what Run uses. Unassigned: the editor cannot run statements.
using TSqlQueryFactory = std::function<std::unique_ptr<TOstQuery>()>;

class TSQLEditForm : public QDialog {
    Q_OBJECT
public:
    static constexpr int kHelpContext = 27271;

    TSQLEditForm(TGetTableNamesEvent tableNames, TGetFieldNamesEvent fieldNames, const QString& startTableName,
                 const QString& quoteChar, TReqQuoteCharEvent needsQuote, TSqlQueryFactory queries = {},
                 QWidget* parent = nullptr);
    ~TSQLEditForm() override;

    QString SQLText() const;
    void SetSQLText(const QString& text);
    TSqlEditCore& Core() { return m_core; }
    // The caret as an index into SQLText(), and moving it there.
    int CaretPosition() const;
    void SetCaretPosition(int index);
    // Selects SQLText() from start to end (indexes).
    void SetSelection(int start, int end);

    // ---- controls, for tests
    TSqlMemo* SQLMemo() const { return m_memo; }
    QListWidget* TableListBox() const { return m_tables; }
    QListWidget* FieldListBox() const { return m_fields; }
    QLabel* TableLabel() const { return m_tableLabel; }
    QLabel* FieldLabel() const { return m_fieldLabel; }
    QSplitter* TableSplitter() const { return m_tableSplitter; }
    QSplitter* MemoSplitter() const { return m_memoSplitter; }
    QPushButton* OKBtn() const { return m_okBtn; }
    QPushButton* HelpBtn() const { return m_helpBtn; }
    QAction* RunAct() const { return m_runAct; }
    QPushButton* RunBtn() const { return m_runBtn; }
    QLabel* ResultLabel() const { return m_resultLabel; }
    QTableView* ResultGrid() const { return m_grid; }
    TOstDataSetModel* ResultModel() const { return m_model; }
    // The query the grid shows, nullptr before a run that returned rows.
    TOstQuery* ResultQuery() const { return m_result.get(); }

public slots:
    void TableListBoxClick();
    void TableListBoxDblClick();
    void FieldListBoxDblClick();
    void HelpBtnClick();
    // Runs the selection, or the statement: rows show in the grid with their
    // count and the time to the first rows; a statement that writes asks
    // first; one that does not compile is marked where it fails.
    void RunActExecute();

protected:
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void FillLists();
    void ShowFields();
    void InsertAtCaret(const TSqlInsertion& insertion, const QString& before);
    void ShowRunError(const QString& message, int position);
    void ShowRows(std::unique_ptr<TOstQuery> query, qint64 nanoseconds);
    void CountRows();

    TSqlEditCore m_core;
    TSqlQueryFactory m_queries;
    bool m_filled = false;

    TSqlMemo* m_memo = nullptr;
    QListWidget* m_tables = nullptr;
    QListWidget* m_fields = nullptr;
    QLabel* m_tableLabel = nullptr;
    QLabel* m_fieldLabel = nullptr;
    QWidget* m_listPanel = nullptr;
    QSplitter* m_tableSplitter = nullptr;
    QSplitter* m_memoSplitter = nullptr;
    QSplitter* m_resultSplitter = nullptr;
    QPushButton* m_okBtn = nullptr;
    QPushButton* m_helpBtn = nullptr;
    QPushButton* m_runBtn = nullptr;
    QAction* m_runAct = nullptr;
    QLabel* m_resultLabel = nullptr;
    QTableView* m_grid = nullptr;
    TOstDataSetModel* m_model = nullptr;
    std::unique_ptr<TOstQuery> m_result;
    qint64 m_firstRowsNs = 0;
};

// Edits sql in the form; true, with sql replaced by the memo's text, when
// the user closed it with OK. The form is freed in every case.
bool EditSQL(QString& sql, TGetTableNamesEvent tableNames, TGetFieldNamesEvent fieldNames, const QString& startTableName,
             const QString& quoteChar, TReqQuoteCharEvent needsQuote, TSqlQueryFactory queries = {});
// The same over a list of lines: its text is edited and written back only on OK.
bool EditSQL(QStringList& sql, TGetTableNamesEvent tableNames, TGetFieldNamesEvent fieldNames,
             const QString& startTableName, const QString& quoteChar, TReqQuoteCharEvent needsQuote,
             TSqlQueryFactory queries = {});
