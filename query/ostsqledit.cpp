#include "query/ostsqledit.h"

#include "common/ostdatasetmodel.h"
#include "common/ostdialogservice.h"
#include "common/osthelp.h"
#include "engine/ostquery.h"
#include "query/core/ostsqlrun.h"
#include "query/ostsqlmemo.h"

#include <Qsci/qscilexer.h>

#include <QAction>
#include <QApplication>
#include <QDialogButtonBox>
#include <QElapsedTimer>
#include <QFontMetrics>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSplitter>
#include <QTableView>
#include <QTimer>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

// A splitter whose handle moves only to sizes its rule accepts; a move the
// rule refuses puts the handle back.
void KeepSizeRule(QSplitter* splitter, std::function<bool(int)> accepts) {
    auto previous = std::make_shared<QList<int>>();
    QObject::connect(splitter, &QSplitter::splitterMoved, splitter, [splitter, accepts, previous](int pos) {
        if (accepts(pos) || previous->isEmpty()) *previous = splitter->sizes();
        else splitter->setSizes(*previous);
    });
    // The sizes it starts with are the ones to go back to.
    QTimer::singleShot(0, splitter, [splitter, previous] { if (previous->isEmpty()) *previous = splitter->sizes(); });
}

} // namespace

TSQLEditForm::TSQLEditForm(TGetTableNamesEvent tableNames, TGetFieldNamesEvent fieldNames, const QString& startTableName,
                           const QString& quoteChar, TReqQuoteCharEvent needsQuote, TSqlQueryFactory queries,
                           QWidget* parent)
    : QDialog(parent), m_core(std::move(tableNames), std::move(fieldNames), startTableName, quoteChar, std::move(needsQuote)),
      m_queries(std::move(queries)) {
    setWindowTitle(u"SQL Query Builder"_s);
    setSizeGripEnabled(true);
    setWindowFlag(Qt::WindowMaximizeButtonHint, true);
    SetHelpContext(this, kHelpContext);

    // ---- the lists
    m_tables = new QListWidget;
    m_tables->setObjectName(u"TableListBox"_s);
    m_tables->setToolTip(u"DoubleClick to insert selected Table"_s);
    m_tables->setSelectionMode(QAbstractItemView::SingleSelection);
    connect(m_tables, &QListWidget::currentRowChanged, this, [this] { TableListBoxClick(); });
    connect(m_tables, &QListWidget::itemDoubleClicked, this, [this] { TableListBoxDblClick(); });
    m_tables->installEventFilter(this);
    m_tableLabel = new QLabel(u"Available &Tables:"_s);
    m_tableLabel->setBuddy(m_tables);
    m_tableLabel->setToolTip(m_tables->toolTip());

    m_tables->setMinimumHeight(20); // the splitter's size rule is what limits the lists
    m_fields = new QListWidget;
    m_fields->setMinimumHeight(20);
    m_fields->setObjectName(u"FieldListBox"_s);
    m_fields->setToolTip(u"DoubleClick to insert selected Field"_s);
    m_fields->setSelectionMode(QAbstractItemView::ExtendedSelection);
    connect(m_fields, &QListWidget::itemDoubleClicked, this, [this] { FieldListBoxDblClick(); });
    m_fields->installEventFilter(this);
    m_fieldLabel = new QLabel(u"Available &Fields:"_s);
    m_fieldLabel->setBuddy(m_fields);
    m_fieldLabel->setToolTip(m_fields->toolTip());

    auto* tablePane = new QWidget;
    auto* tableLayout = new QVBoxLayout(tablePane);
    tableLayout->setContentsMargins(0, 0, 0, 0);
    tableLayout->addWidget(m_tableLabel);
    tableLayout->addWidget(m_tables, 1);
    auto* fieldPane = new QWidget;
    auto* fieldLayout = new QVBoxLayout(fieldPane);
    fieldLayout->setContentsMargins(0, 0, 0, 0);
    fieldLayout->addWidget(m_fieldLabel);
    fieldLayout->addWidget(m_fields, 1);
    m_tableSplitter = new QSplitter(Qt::Vertical);
    m_tableSplitter->setObjectName(u"TableSplitter"_s);
    m_tableSplitter->setChildrenCollapsible(false);
    m_tableSplitter->addWidget(tablePane);
    m_tableSplitter->addWidget(fieldPane);
    m_listPanel = m_tableSplitter;
    KeepSizeRule(m_tableSplitter, [this](int size) { return AcceptTableSplitterSize(size, m_listPanel->height()); });

    // ---- the memo, and what Run shows below it
    m_memo = new TSqlMemo(&m_core);
    m_memo->setObjectName(u"SQLMemo"_s);
    m_runAct = new QAction(u"&Run"_s, this);
    m_runAct->setShortcuts({QKeySequence(Qt::CTRL | Qt::Key_Return), QKeySequence(Qt::CTRL | Qt::Key_Enter)});
    m_runAct->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    m_runAct->setToolTip(u"Run the statement (Ctrl+Return): the selection, or the statement at the cursor"_s);
    m_runAct->setEnabled(static_cast<bool>(m_queries));
    connect(m_runAct, &QAction::triggered, this, &TSQLEditForm::RunActExecute);
    addAction(m_runAct);
    m_runBtn = new QPushButton(u"&Run"_s);
    m_runBtn->setAutoDefault(false);
    m_runBtn->setToolTip(m_runAct->toolTip());
    m_runBtn->setEnabled(m_runAct->isEnabled());
    connect(m_runBtn, &QPushButton::clicked, m_runAct, &QAction::trigger);
    m_resultLabel = new QLabel;
    m_resultLabel->setObjectName(u"ResultLabel"_s);
    m_resultLabel->setWordWrap(true);
    m_resultLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_model = new TOstDataSetModel(this);
    m_grid = new QTableView;
    m_grid->setObjectName(u"ResultGrid"_s);
    m_grid->setModel(m_model);
    m_grid->setEditTriggers(QAbstractItemView::NoEditTriggers); // what Run shows is not edited
    m_grid->setAlternatingRowColors(true);
    m_grid->verticalHeader()->setDefaultSectionSize(m_grid->fontMetrics().height() + 6);
    m_grid->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_grid->horizontalHeader()->setResizeContentsPrecision(100);
    connect(m_model, &TOstDataSetModel::rowsKnownChanged, this, [this] { if (m_result) CountRows(); });

    auto* runRow = new QHBoxLayout;
    runRow->setContentsMargins(0, 0, 0, 0);
    runRow->addWidget(m_runBtn);
    runRow->addWidget(m_resultLabel, 1);
    auto* resultPane = new QWidget;
    auto* resultLayout = new QVBoxLayout(resultPane);
    resultLayout->setContentsMargins(0, 0, 0, 0);
    resultLayout->addLayout(runRow);
    resultLayout->addWidget(m_grid, 1);
    m_resultSplitter = new QSplitter(Qt::Vertical);
    m_resultSplitter->setChildrenCollapsible(false);
    m_resultSplitter->addWidget(m_memo);
    m_resultSplitter->addWidget(resultPane);
    m_resultSplitter->setStretchFactor(0, 3);
    m_resultSplitter->setStretchFactor(1, 2);

    m_memoSplitter = new QSplitter(Qt::Horizontal);
    m_memoSplitter->setObjectName(u"MemoSplitter"_s);
    m_memoSplitter->setChildrenCollapsible(false);
    m_memoSplitter->addWidget(m_tableSplitter);
    m_memoSplitter->addWidget(m_resultSplitter);
    m_memoSplitter->setStretchFactor(1, 1);
    KeepSizeRule(m_memoSplitter, [this](int size) { return AcceptMemoSplitterSize(size, width()); });

    // ---- buttons
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel | QDialogButtonBox::Help);
    m_okBtn = buttons->button(QDialogButtonBox::Ok);
    m_helpBtn = buttons->button(QDialogButtonBox::Help);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(buttons, &QDialogButtonBox::helpRequested, this, &TSQLEditForm::HelpBtnClick);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_memoSplitter, 1);
    layout->addWidget(buttons);

    // One tab stop of 10 dialog units, in the memo's characters.
    m_memo->setTabWidth(SqlTabWidthInChars(QFontMetrics(font()).averageCharWidth(),
                                           QFontMetrics(m_memo->lexer()->defaultFont()).horizontalAdvance(u' ')));
    resize(820, 560);
    m_memoSplitter->setSizes({200, 620});
    m_resultSplitter->setSizes({320, 200});
    m_memo->setFocus();
}

TSQLEditForm::~TSQLEditForm() {
    // The grid lets go of the result before the query goes.
    m_model->SetDataSet(nullptr);
}

QString TSQLEditForm::SQLText() const { return m_memo->text(); }

void TSQLEditForm::SetSQLText(const QString& text) {
    m_memo->setText(text);
    m_memo->setModified(false);
}

int TSQLEditForm::CaretPosition() const { return m_memo->CaretIndex(); }

void TSQLEditForm::SetCaretPosition(int index) { m_memo->SetCaretIndex(index); }

void TSQLEditForm::SetSelection(int start, int end) { m_memo->SelectIndexes(start, end); }

// ---------------------------------------------------------------- the lists

void TSQLEditForm::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    if (!m_filled) {
        m_filled = true;
        FillLists();
    }
}

void TSQLEditForm::FillLists() {
    {
        QApplication::setOverrideCursor(Qt::WaitCursor);
        struct Restore {
            ~Restore() { QApplication::restoreOverrideCursor(); }
        } restore;
        m_core.FillTables();
    }
    const QSignalBlocker block(m_tables);
    m_tables->clear();
    m_tables->addItems(m_core.Tables());
    m_tables->setCurrentRow(m_core.SelectedTable());
    m_memo->SetTableNames(m_core.Tables());
    ShowFields();
}

void TSQLEditForm::ShowFields() {
    m_fields->clear();
    m_fields->addItems(m_core.Fields());
}

void TSQLEditForm::TableListBoxClick() {
    if (m_tables->currentRow() == m_core.SelectedTable()) return;
    m_core.SelectTable(m_tables->currentRow());
    ShowFields();
}

void TSQLEditForm::InsertAtCaret(const TSqlInsertion& insertion, const QString& before) {
    const int caret = m_memo->CaretIndex();
    const QString piece = insertion.Text.mid(caret, insertion.Text.size() - before.size());
    m_memo->InsertAtIndex(caret, piece);
    m_memo->SetCaretIndex(insertion.Caret);
    m_memo->setFocus(Qt::OtherFocusReason);
}

void TSQLEditForm::TableListBoxDblClick() {
    if (m_core.SelectedTable() < 0) return;
    const QString text = m_memo->text();
    if (text.isEmpty()) m_memo->SetCaretIndex(0);
    const TSqlInsertion r = m_core.InsertTable(text, m_memo->CaretIndex());
    InsertAtCaret(r, text);
}

void TSQLEditForm::FieldListBoxDblClick() {
    QStringList names;
    for (int i = 0; i < m_fields->count(); ++i)
        if (m_fields->item(i)->isSelected()) names.append(m_fields->item(i)->text());
    if (names.isEmpty()) return;
    QString text = m_memo->text();
    if (text.isEmpty()) m_memo->SetCaretIndex(static_cast<int>(text.size()));
    const TSqlInsertion r = m_core.InsertFields(text, m_memo->CaretIndex(), names);
    InsertAtCaret(r, text);
}

bool TSQLEditForm::eventFilter(QObject* watched, QEvent* event) {
    // Return on a list inserts as a double click does, without closing the form.
    if ((watched == m_tables || watched == m_fields) && event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        if ((key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) && key->modifiers() == Qt::NoModifier) {
            if (watched == m_tables) TableListBoxDblClick();
            else FieldListBoxDblClick();
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

void TSQLEditForm::HelpBtnClick() { ShowHelpTopic(kHelpContext); }

// ---------------------------------------------------------------- Run

void TSQLEditForm::ShowRunError(const QString& message, int position) {
    // What an earlier run showed is not the answer to this one.
    m_model->SetDataSet(nullptr);
    m_result.reset();
    if (position >= 0) {
        m_memo->MarkError(position);
        m_memo->SetCaretIndex(position);
        int line = 0, index = 0;
        m_memo->lineIndexFromPosition(m_memo->PositionOfIndex(position), &line, &index);
        m_resultLabel->setText(u"Line %1, column %2: %3"_s.arg(line + 1).arg(index + 1).arg(message));
    } else {
        m_resultLabel->setText(message);
    }
    m_resultLabel->setStyleSheet(u"color: #b00000"_s);
    m_memo->setFocus(Qt::OtherFocusReason);
}

void TSQLEditForm::RunActExecute() {
    if (!m_queries) return;
    m_memo->cancelList();
    m_memo->ClearErrorMark();
    m_resultLabel->setStyleSheet(QString());
    const QString text = m_memo->text();
    std::unique_ptr<TOstQuery> query;
    TSqlRunPlan plan;
    try {
        query = m_queries();
        if (!query) return;
        plan = PlanSqlRun(*query, text, m_memo->SelectionStartIndex(), m_memo->SelectionEndIndex(), m_memo->CaretIndex());
    } catch (const EOstraSqlError& e) {
        return ShowRunError(e.Message(), e.Position());
    } catch (const Exception& e) {
        return ShowRunError(e.Message(), -1);
    }
    if (plan.ChangesData) {
        const QString what = plan.Statements == 1 ? u"This statement changes"_s : u"These %1 statements change"_s.arg(plan.Statements);
        if (OstDialogs().MessageBox(this, u"Run SQL"_s, u"%1 the database. Run it?"_s.arg(what), QMessageBox::Question,
                                    QMessageBox::Yes | QMessageBox::No) != QMessageBox::Yes) {
            m_resultLabel->setText(u"Not run."_s);
            return;
        }
    }
    QApplication::setOverrideCursor(Qt::WaitCursor);
    QElapsedTimer clock;
    clock.start();
    QString error;
    int position = -1;
    bool opened = false;
    try {
        if (plan.ReturnsRows) {
            query->Open();
            opened = true;
        } else {
            query->ExecSQL();
        }
    } catch (const EOstraSqlError& e) {
        error = e.Message();
        position = e.Position() < 0 ? -1 : e.Position() + plan.Offset;
    } catch (const Exception& e) {
        error = e.Message();
    }
    const qint64 elapsed = clock.nsecsElapsed();
    QApplication::restoreOverrideCursor();
    m_memo->setFocus(Qt::OtherFocusReason);
    if (!error.isEmpty()) return ShowRunError(error, position);
    if (opened) return ShowRows(std::move(query), elapsed);
    m_model->SetDataSet(nullptr);
    m_result.reset();
    const int affected = query->RowsAffected();
    m_resultLabel->setText(plan.ChangesData ? u"%1 affected \u00b7 %2"_s.arg(RowCountText(affected), DurationText(elapsed))
                                            : u"Done \u00b7 %1"_s.arg(DurationText(elapsed)));
}

void TSQLEditForm::ShowRows(std::unique_ptr<TOstQuery> query, qint64 nanoseconds) {
    m_model->SetDataSet(nullptr);
    m_result = std::move(query);
    m_firstRowsNs = nanoseconds;
    m_model->SetDataSet(m_result.get());
    m_grid->resizeColumnsToContents();
    for (int c = 0; c < m_model->columnCount(); ++c)
        if (m_grid->columnWidth(c) > 300) m_grid->setColumnWidth(c, 300);
    CountRows();
    // The rows show first; the whole result is counted right after.
    if (!m_result->AllRecordsFetched())
        QTimer::singleShot(0, this, [this, counted = m_result.get()] {
            if (m_result.get() != counted) return;
            try {
                m_model->FetchAll();
            } catch (const Exception& e) {
                m_resultLabel->setText(e.Message());
            }
        });
}

void TSQLEditForm::CountRows() {
    if (!m_result) return;
    const QString rows = m_result->AllRecordsFetched() ? RowCountText(m_result->FetchedRecordCount())
                                                       : u"%1 so far"_s.arg(RowCountText(m_result->FetchedRecordCount()));
    m_resultLabel->setText(u"%1 \u00b7 %2"_s.arg(rows, DurationText(m_firstRowsNs)));
}

// ---------------------------------------------------------------- EditSQL

bool EditSQL(QString& sql, TGetTableNamesEvent tableNames, TGetFieldNamesEvent fieldNames, const QString& startTableName,
             const QString& quoteChar, TReqQuoteCharEvent needsQuote, TSqlQueryFactory queries) {
    auto form = std::make_unique<TSQLEditForm>(std::move(tableNames), std::move(fieldNames), startTableName, quoteChar,
                                               std::move(needsQuote), std::move(queries));
    form->SetSQLText(sql);
    if (form->exec() != QDialog::Accepted) return false;
    sql = form->SQLText();
    return true;
}

bool EditSQL(QStringList& sql, TGetTableNamesEvent tableNames, TGetFieldNamesEvent fieldNames,
             const QString& startTableName, const QString& quoteChar, TReqQuoteCharEvent needsQuote,
             TSqlQueryFactory queries) {
    QString text = sql.join(u'\n');
    if (!EditSQL(text, std::move(tableNames), std::move(fieldNames), startTableName, quoteChar, std::move(needsQuote),
                 std::move(queries)))
        return false;
    text.replace(u"\r\n"_s, u"\n"_s);
    sql = text.isEmpty() ? QStringList() : text.split(u'\n');
    return true;
}
