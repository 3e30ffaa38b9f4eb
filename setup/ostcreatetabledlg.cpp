#include "setup/ostcreatetabledlg.h"

#include "common/ostdialogservice.h"
#include "common/rkdialogs.h"
#include "engine/ostdatabase.h"
#include "engine/ostdataset.h"
#include "setup/core/ostpaths.h"

#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSignalBlocker>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

QString TextOverwrite() { return QStringLiteral("Table already exists, overwrite?"); }
QString TextSelectCaption() { return QStringLiteral("Select a Ostra Table"); }
QString TextNewCaption() { return QStringLiteral("Create a New Ostra Table"); }
QString TextSelectLabel() { return QStringLiteral("Optionally choose an existing database component"); }
QString TextNewLabel() { return QStringLiteral("Select a database component for the new table"); }
QString TextSelectDirectory() { return QStringLiteral("Select Database Directory..."); }
QString FilterOstraFiles() {
    return QStringLiteral("Ostra Files (*.dat;*.ostd;*.ostt)|*.dat;*.ostd;*.ostt|Ostra Database File (*.ostd)|*.ostd|"
                          "Ostra Table File (*.dat,*.ostt)|*.dat;*.ostt");
}
QString FilterOstraTable() { return QStringLiteral("Ostra Table (*.dat,*.ostt)|*.dat;*.ostt"); }
QString OpenDialogTitle() { return QStringLiteral("Select a Ostra Database File"); }

} // namespace

template <class F> bool TTableAssistantDlg::Guarded(F&& f) {
    try {
        f();
        return true;
    } catch (const Exception& e) {
        OstDialogs().MessageBox(this, QStringLiteral("Error"), e.Message(), QMessageBox::Critical, QMessageBox::Ok);
    }
    return false;
}

// FormCreate: the controls, and the placeholder as the current database (the core made it).
TTableAssistantDlg::TTableAssistantDlg(QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("TableAssistantDlg"));
    m_databasesLabel = new QLabel(this);
    m_dbCombo = new QComboBox(this);
    m_dbCombo->setObjectName(QStringLiteral("DBComboBox"));
    m_dbCombo->setEditable(false);
    m_dbCombo->setMinimumContentsLength(24);
    m_databasesLabel->setBuddy(m_dbCombo);
    m_selectLocationBtn = new QToolButton(this);
    m_selectLocationBtn->setObjectName(QStringLiteral("SelectLocationBtn"));
    m_selectLocationBtn->setText(QStringLiteral("&Location..."));
    m_selectLocationBtn->setToolTip(QStringLiteral("Use a database file or a database directory without a database component"));
    m_selectLocationBtn->setFocusPolicy(Qt::StrongFocus);
    m_selectLocationBtn->hide();
    m_locationMenu = new QMenu(this);
    m_locationMenu->addAction(QStringLiteral("Database &File..."), this, [this] { SingleFileDBItemClick(); });
    m_locationMenu->addAction(QStringLiteral("Database &Directory..."), this, [this] { DirectoryDBItemClick(); });

    m_location = new QLabel(this);
    m_location->setObjectName(QStringLiteral("Location"));
    m_location->setMinimumWidth(300);
    m_location->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_location->setTextInteractionFlags(Qt::TextSelectableByMouse);

    m_tableLabel = new QLabel(QStringLiteral("&Table:"), this);
    m_tableNameEdit = new QLineEdit(this);
    m_tableNameEdit->setObjectName(QStringLiteral("TableNameEdit"));
    m_tableNames = new QComboBox(this);
    m_tableNames->setObjectName(QStringLiteral("TableNamesComboBox"));
    m_tableNames->setInsertPolicy(QComboBox::NoInsert);
    m_selectBtn = new QToolButton(this);
    m_selectBtn->setObjectName(QStringLiteral("SelectBtn"));
    m_selectBtn->setText(QStringLiteral("..."));
    m_selectBtn->setToolTip(QStringLiteral("Browse for a table file (Ctrl+B)"));
    m_selectBtn->setShortcut(QKeySequence(QStringLiteral("Ctrl+B")));
    m_selectBtn->setFocusPolicy(Qt::StrongFocus);

    m_ok = new QPushButton(QStringLiteral("&OK"), this);
    m_ok->setObjectName(QStringLiteral("OKBtn"));
    m_ok->setDefault(true);
    m_cancel = new QPushButton(QStringLiteral("&Cancel"), this);
    m_cancel->setObjectName(QStringLiteral("CancelBtn"));

    auto* grid = new QGridLayout;
    grid->addWidget(m_databasesLabel, 0, 0, 1, 3);
    grid->addWidget(m_dbCombo, 1, 0, 1, 2);
    grid->addWidget(m_selectLocationBtn, 1, 2);
    grid->addWidget(m_location, 2, 0, 1, 3);
    grid->addWidget(m_tableLabel, 3, 0);
    auto* names = new QHBoxLayout;
    names->setContentsMargins(0, 0, 0, 0);
    names->addWidget(m_tableNameEdit, 1);
    names->addWidget(m_tableNames, 1);
    grid->addLayout(names, 3, 1);
    grid->addWidget(m_selectBtn, 3, 2);
    grid->setColumnStretch(1, 1);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_ok);
    buttons->addWidget(m_cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(grid);
    layout->addStretch();
    layout->addLayout(buttons);

    // An editable list keeps Enter and Esc to itself; here they answer the dialog.
    m_tableNames->installEventFilter(this);
    connect(m_dbCombo, &QComboBox::activated, this, [this] { DBComboBoxChange(); });
    connect(m_tableNameEdit, &QLineEdit::textChanged, this, &TTableAssistantDlg::TableNameChanged);
    connect(m_tableNameEdit, &QLineEdit::editingFinished, this, [this] { TableNameChanged(m_tableNameEdit->text()); });
    connect(m_tableNames, &QComboBox::currentTextChanged, this, &TTableAssistantDlg::TableNameChanged);
    connect(m_selectBtn, &QToolButton::clicked, this, &TTableAssistantDlg::SelectBtnClick);
    connect(m_selectLocationBtn, &QToolButton::clicked, this, &TTableAssistantDlg::SelectLocationClick);
    connect(m_ok, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_cancel, &QPushButton::clicked, this, &QDialog::reject);

    m_selectBtn->setEnabled(true);
    m_tableNameEdit->clear();
    m_tableNames->clear();
    SetDialogType(dtSelectTable);
    resize(460, sizeHint().height());
}

// FormDestroy: the core disconnects and frees the placeholder.
TTableAssistantDlg::~TTableAssistantDlg() = default;

void TTableAssistantDlg::SetDialogType(TTableDialogType type) {
    m_core.SetDialogType(type);
    const bool newTable = type == dtNewTable;
    setWindowTitle(newTable ? TextNewCaption() : TextSelectCaption());
    m_databasesLabel->setText(newTable ? TextNewLabel() : TextSelectLabel());
    m_tableNames->setVisible(!newTable);
    m_tableNameEdit->setVisible(newTable);
    m_tableLabel->setBuddy(newTable ? static_cast<QWidget*>(m_tableNameEdit) : m_tableNames);
}

void TTableAssistantDlg::SetOstTable(TOstTable* table) {
    TOstDatabase* db = m_core.CurrentDatabase();
    if (!Guarded([&] { db = m_core.DatabaseForTable(table); })) db = m_core.CurrentDatabase();
    SetCurrentDatabase(db);
    UpdateDBItems();
    // A table named but not created yet offers its name for the new table.
    if (m_core.DialogType() == dtNewTable && table && !table->GetTableName().isEmpty() &&
        m_core.CloseCheck(table->GetTableName()) == TTableAssistantCore::ccClose)
        m_tableNameEdit->setText(table->GetTableName());
}

void TTableAssistantDlg::UpdateDBItems() {
    const QSignalBlocker block(m_dbCombo);
    m_dbCombo->clear();
    m_dbCombo->addItems(m_core.DatabaseNames());
    if (TOstDatabase* db = m_core.CurrentDatabase())
        m_dbCombo->setCurrentIndex(m_dbCombo->findText(db->GetDatabaseName(), Qt::MatchFixedString));
}

void TTableAssistantDlg::DBComboBoxChange() {
    m_core.StoreNewTableName(QString());
    SetCurrentDatabase(FindOstDatabase(m_dbCombo->currentText()));
}

void TTableAssistantDlg::SetCurrentDatabase(TOstDatabase* db) {
    m_core.SetCurrentDatabase(db);
    if (db) {
        m_locationText = m_core.LocationText();
        m_location->setToolTip(db->GetLocation());
        ShowLocation();
        {
            const QSignalBlocker block(m_dbCombo);
            m_dbCombo->setCurrentIndex(m_dbCombo->findText(db->GetDatabaseName(), Qt::MatchFixedString));
        }
        m_selectBtn->setEnabled(m_core.IsDirectoryBasedTable());
        // Without a database component the user may name a database file or folder.
        m_selectLocationBtn->setVisible(m_core.IsPlaceholder(db));
    }
    UpdateTableEntries();
}

void TTableAssistantDlg::ShowLocation() {
    const QFontMetrics metrics = m_location->fontMetrics();
    m_location->setText(ShortenLocationText(m_locationText, m_location->width(),
                                            [&](const QString& s) { return metrics.horizontalAdvance(s); }));
}

void TTableAssistantDlg::WriteTableNameControls(const QString& text) {
    const QSignalBlocker blockEdit(m_tableNameEdit);
    const QSignalBlocker blockCombo(m_tableNames);
    m_tableNameEdit->setText(text);
    if (m_tableNames->isEditable()) m_tableNames->setEditText(text);
    else m_tableNames->setCurrentIndex(m_tableNames->findText(text, Qt::MatchFixedString));
}

void TTableAssistantDlg::UpdateTableEntries() {
    m_core.StoreNewTableName(QString());
    QStringList names;
    if (m_core.DialogType() == dtSelectTable) Guarded([&] { names = m_core.TableNames(); });
    const QSignalBlocker blockEdit(m_tableNameEdit);
    const QSignalBlocker blockCombo(m_tableNames);
    m_tableNameEdit->clear();
    m_tableNames->clear();
    m_tableNames->setEditable(m_core.IsDirectoryBasedTable());
    if (m_tableNames->isEditable()) m_tableNames->setInsertPolicy(QComboBox::NoInsert);
    m_tableNames->addItems(names);
    m_tableNames->setCurrentIndex(-1);
    if (names.isEmpty()) return;
    m_tableNames->setCurrentIndex(m_tableNames->findText(m_core.PreferredTableEntry(names), Qt::MatchFixedString));
    m_core.StoreNewTableName(m_tableNames->currentText());
    m_tableNameEdit->setText(m_tableNames->currentText());
}

void TTableAssistantDlg::TableNameChanged(const QString& text) { SetNewTableName(text); }

void TTableAssistantDlg::SetNewTableName(const QString& name) {
    if (!m_core.StoreNewTableName(name)) return;
    const QString result = m_core.ResultTableName();
    if (m_tableNameEdit->text() != result || (m_tableNames->isVisible() && m_tableNames->currentText() != result))
        WriteTableNameControls(result);
}

void TTableAssistantDlg::SelectBtnClick() {
    QString fileName = m_tableNameEdit->text();
    const QString dir = m_core.BrowseInitialDir(fileName);
    const bool chosen = m_core.DialogType() == dtSelectTable
                            ? OstDialogs().OpenFileName(this, OpenDialogTitle(), FilterOstraFiles(), dir, fileName)
                            : OstDialogs().SaveFileName(this, TextNewCaption(), FilterOstraTable(), QStringLiteral("dat"),
                                                        dir, fileName);
    if (!chosen) return;
    QString name;
    const bool ok = Guarded([&] { name = m_core.TableFileChosen(fileName); });
    SetCurrentDatabase(m_core.CurrentDatabase());
    UpdateDBItems();
    if (ok && !name.isEmpty()) SetNewTableName(name);
}

void TTableAssistantDlg::SingleFileDBItemClick() {
    QString fileName;
    if (!OstDialogs().OpenFileName(this, OpenDialogTitle(), FilterOstraFiles(), m_core.PlaceholderStartDir(), fileName))
        return;
    Guarded([&] { m_core.DatabaseLocationChosen(fileName); });
    SetCurrentDatabase(m_core.Placeholder());
    UpdateDBItems();
}

void TTableAssistantDlg::DirectoryDBItemClick() {
    QString dir = m_core.PlaceholderStartDir();
    if (!rkSelectDirectory(TextSelectDirectory(), QString(), dir)) return;
    Guarded([&] { m_core.DatabaseLocationChosen(dir); });
    SetCurrentDatabase(m_core.Placeholder());
    UpdateDBItems();
}

void TTableAssistantDlg::SelectLocationClick() {
    m_locationMenu->popup(m_selectLocationBtn->mapToGlobal(QPoint(0, m_selectLocationBtn->height())));
}

void TTableAssistantDlg::FormCloseQuery(bool& canClose) {
    canClose = true;
    m_overwrite = false;
    if (m_core.DialogType() != dtNewTable) {
        canClose = m_core.CloseCheck(m_tableNames->currentText()) == TTableAssistantCore::ccClose;
        return;
    }
    const QString text = m_tableNameEdit->text();
    // A full path names the folder the table goes to.
    if (rkIsAbsolutePath(text) && !IsRootPath(text)) {
        QString name;
        if (!Guarded([&] { name = m_core.TableFileChosen(text); })) {
            canClose = false;
            SetCurrentDatabase(m_core.CurrentDatabase());
            return;
        }
        SetCurrentDatabase(m_core.CurrentDatabase());
        UpdateDBItems();
        SetNewTableName(name);
    }
    const QString typed = m_tableNameEdit->text();
    switch (m_core.CloseCheck(typed)) {
    case TTableAssistantCore::ccClose:
        return;
    case TTableAssistantCore::ccAskOverwrite:
        canClose = OstDialogs().MessageBox(this, QStringLiteral("Confirm"), TextOverwrite(), QMessageBox::Question,
                                           QMessageBox::Yes | QMessageBox::No) == QMessageBox::Yes;
        m_overwrite = canClose;
        return;
    case TTableAssistantCore::ccNoDatabase:
        OstDialogs().MessageBox(this, QStringLiteral("Information"), TextNewLabel(), QMessageBox::Information,
                                QMessageBox::Ok);
        canClose = false;
        return;
    case TTableAssistantCore::ccStay:
        canClose = false;
        return;
    }
}

bool TTableAssistantDlg::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_tableNames && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        const bool plain = static_cast<QKeyEvent*>(event)->modifiers() == Qt::NoModifier ||
                           static_cast<QKeyEvent*>(event)->modifiers() == Qt::KeypadModifier;
        if (plain && (key == Qt::Key_Return || key == Qt::Key_Enter)) {
            m_ok->click();
            return true;
        }
        if (plain && key == Qt::Key_Escape) {
            reject();
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

void TTableAssistantDlg::done(int result) {
    if (result == QDialog::Accepted) {
        bool canClose = true;
        FormCloseQuery(canClose);
        if (!canClose) return;
    }
    // FormClose
    m_core.Disconnect();
    QDialog::done(result);
}

// FormShow
void TTableAssistantDlg::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    ShowLocation();
    if (m_core.DialogType() == dtNewTable) m_tableNameEdit->setFocus();
    else m_tableNames->setFocus();
}

void TTableAssistantDlg::resizeEvent(QResizeEvent* event) {
    QDialog::resizeEvent(event);
    ShowLocation();
}
