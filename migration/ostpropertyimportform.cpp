// The table import wizard's form; the work is ImportTable's (migration/core).
#include "migration/ostpropertyimportform.h"

#include "common/ostdialogservice.h"
#include "engine/ostdataset.h"
#include "migration/core/ostimportcore.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

TPropertyImportBrownieForm::TPropertyImportBrownieForm(QWidget* parent) : QDialog(parent) {
    setWindowTitle(QStringLiteral("Convert Table"));
    auto* layout = new QVBoxLayout(this);
    auto* intro = new QLabel(QStringLiteral("Creates a new Ostra table with the columns and indexes of a table of this "
                                            "module, copies its records, and points this table component at it with the "
                                            "source's properties and event handlers."));
    intro->setWordWrap(true);
    layout->addWidget(intro);
    auto* form = new QFormLayout;
    m_source = new QComboBox;
    m_tableName = new QLineEdit;
    m_database = new QComboBox;
    m_database->setEditable(true);
    m_level = new QComboBox;
    m_level->addItem(QStringLiteral("Default (%1)").arg(OstDefaultTableLevel), -1);
    for (int l = OstMinTableLevel; l <= OstMaxTableLevel; ++l) m_level->addItem(QString::number(l), l);
    form->addRow(QStringLiteral("&Source table:"), m_source);
    form->addRow(QStringLiteral("New table &name:"), m_tableName);
    form->addRow(QStringLiteral("&Database:"), m_database);
    form->addRow(QStringLiteral("Table &level:"), m_level);
    layout->addLayout(form);
    m_copyData = new QCheckBox(QStringLiteral("Cop&y the records"));
    m_copyData->setChecked(true);
    m_abortOnProblem = new QCheckBox(QStringLiteral("S&top at the first record that cannot be copied"));
    layout->addWidget(m_copyData);
    layout->addWidget(m_abortOnProblem);
    m_progress = new QProgressBar;
    m_progress->setRange(0, 100);
    m_progress->setValue(0);
    m_status = new QLabel;
    m_status->setWordWrap(true);
    layout->addWidget(m_progress);
    layout->addWidget(m_status);
    auto* buttons = new QDialogButtonBox;
    m_import = buttons->addButton(QStringLiteral("&Import"), QDialogButtonBox::AcceptRole);
    m_cancel = buttons->addButton(QStringLiteral("&Cancel"), QDialogButtonBox::RejectRole);
    m_import->setDefault(true);
    layout->addWidget(buttons);
    connect(m_import, &QPushButton::clicked, this, &TPropertyImportBrownieForm::ImportBtnClick);
    connect(m_cancel, &QPushButton::clicked, this, &TPropertyImportBrownieForm::reject);
    connect(m_source, &QComboBox::currentIndexChanged, this, &TPropertyImportBrownieForm::SourceComboChange);
    resize(480, sizeHint().height());
}

TPropertyImportBrownieForm::~TPropertyImportBrownieForm() = default;

void TPropertyImportBrownieForm::SetTable(TOstTable* table) {
    m_table = table;
    m_source->clear();
    m_database->clear();
    if (!table) return;
    for (TTable* t : ClassicTablesOf(table))
        m_source->addItem(t->GetTableName().isEmpty() ? t->GetName() : QStringLiteral("%1 (%2)").arg(t->GetName(), t->GetTableName()),
                          t->GetName());
    // The module's databases, and the table's own.
    QStringList databases;
    if (table->Owner())
        for (TComponent* c : table->Owner()->Components())
            if (auto* db = qobject_cast<TOstDatabase*>(c); db && !db->GetDatabaseName().isEmpty()) databases << db->GetDatabaseName();
    if (!table->GetDatabaseName().isEmpty() && !databases.contains(table->GetDatabaseName()))
        databases.prepend(table->GetDatabaseName());
    m_database->addItems(databases);
    if (!table->GetDatabaseName().isEmpty()) m_database->setCurrentText(table->GetDatabaseName());
    SourceComboChange();
}

TTable* TPropertyImportBrownieForm::SelectedSource() const {
    if (!m_table || m_source->currentIndex() < 0) return nullptr;
    for (TTable* t : ClassicTablesOf(m_table))
        if (t->GetName() == m_source->currentData().toString()) return t;
    return nullptr;
}

void TPropertyImportBrownieForm::SourceComboChange() {
    if (TTable* t = SelectedSource()) m_tableName->setText(SuggestedTableName(*t));
}

void TPropertyImportBrownieForm::SetRunning(bool running) {
    m_running = running;
    for (QWidget* w : std::initializer_list<QWidget*>{m_source, m_tableName, m_database, m_level, m_copyData, m_abortOnProblem, m_import})
        w->setEnabled(!running);
    m_cancel->setText(running ? QStringLiteral("&Stop") : QStringLiteral("&Cancel"));
}

void TPropertyImportBrownieForm::reject() {
    // While the records are copied, Cancel (and Esc, and closing) stops the copy.
    if (m_running) {
        m_cancelRequested = true;
        return;
    }
    QDialog::reject();
}

void TPropertyImportBrownieForm::ImportBtnClick() {
    if (!m_table || m_running) return;
    TTableImportOptions o;
    o.Source = SelectedSource();
    o.TableName = m_tableName->text().trimmed();
    o.DatabaseName = m_database->currentText().trimmed();
    o.TableLevel = m_level->currentData().toInt();
    o.CopyData = m_copyData->isChecked();
    o.AbortOnProblem = m_abortOnProblem->isChecked();
    m_cancelRequested = false;
    m_progress->setValue(0);
    m_status->setText(QStringLiteral("Creating table \"%1\"...").arg(o.TableName));
    SetRunning(true);
    try {
        const TTableImportResult r = ImportTable(*m_table, o, [this, &o](QObject*, int percent, bool& abort) {
            if (percent < 100) m_status->setText(QStringLiteral("Copying the records into \"%1\"...").arg(o.TableName));
            m_progress->setValue(percent);
            QApplication::processEvents();
            abort = m_cancelRequested;
        });
        SetRunning(false);
        m_progress->setValue(100);
        if (r.Problems > 0)
            OstDialogs().MessageBox(this, QStringLiteral("Information"),
                                    QStringLiteral("%1 records were copied; %2 could not be copied and were left out.")
                                        .arg(r.Moved).arg(r.Problems),
                                    QMessageBox::Information, QMessageBox::Ok);
        accept();
    } catch (const Exception& e) {
        SetRunning(false);
        m_progress->setValue(0);
        m_status->setText(m_cancelRequested ? QStringLiteral("Stopped; nothing was created.") : QString());
        if (!m_cancelRequested)
            OstDialogs().MessageBox(this, QStringLiteral("Error"), e.Message(), QMessageBox::Critical, QMessageBox::Ok);
    }
}
