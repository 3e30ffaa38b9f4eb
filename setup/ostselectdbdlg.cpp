#include "setup/ostselectdbdlg.h"

#include "common/ostdialogservice.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

void SelectDatabase(const QString& initialDir, QString& location) {
    QString fileName;
    if (!OstDialogs().OpenExistingFileName(nullptr, QStringLiteral("Select Database"), DataSourceFilter(),
                                           QStringLiteral("ostd"), initialDir, fileName))
        return;
    location = DatabaseLocationOfFile(fileName);
}

void SelectFileOrFolder(const QString& initialDir, QString& location) {
    QString fileName = SelectFolderEntry();
    if (!OstDialogs().OpenFileName(nullptr, QStringLiteral("Select Ostra data source"), DataSourceFilter(), initialDir,
                                   fileName))
        return;
    location = LocationOfFileOrFolder(fileName);
}

TSelectDBDialog::TSelectDBDialog(QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("SelectDBDialog"));
    setWindowTitle(QStringLiteral("Select Database"));
    setSizeGripEnabled(true);
    auto* label = new QLabel(QStringLiteral("Database Location"), this);
    m_edit = new QLineEdit(this);
    m_edit->setMinimumWidth(320);
    label->setBuddy(m_edit);
    m_select = new QToolButton(this);
    m_select->setText(QStringLiteral("..."));
    m_select->setToolTip(QStringLiteral("Choose the database (Ctrl+B)"));
    m_select->setShortcut(QKeySequence(QStringLiteral("Ctrl+B")));
    m_select->setFocusPolicy(Qt::StrongFocus);
    auto* mode = new QGroupBox(QStringLiteral(" Open Mode"), this);
    m_readOnly = new QCheckBox(QStringLiteral("ReadOnly"), mode);
    m_exclusive = new QCheckBox(QStringLiteral("Exclusive"), mode);
    auto* modeLayout = new QHBoxLayout(mode);
    modeLayout->addWidget(m_readOnly);
    modeLayout->addWidget(m_exclusive);
    modeLayout->addStretch();
    m_ok = new QPushButton(QStringLiteral("&OK"), this);
    m_ok->setDefault(true);
    auto* cancel = new QPushButton(QStringLiteral("&Cancel"), this);
    auto* grid = new QGridLayout;
    grid->addWidget(label, 0, 0, 1, 2);
    grid->addWidget(m_edit, 1, 0);
    grid->addWidget(m_select, 1, 1);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_ok);
    buttons->addWidget(cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(grid);
    layout->addWidget(mode);
    layout->addStretch();
    layout->addLayout(buttons);
    connect(m_edit, &QLineEdit::textChanged, this, [this](const QString& text) { m_location = text; });
    connect(m_select, &QToolButton::clicked, this, &TSelectDBDialog::SelectBtnClick);
    connect(m_ok, &QPushButton::clicked, this, &QDialog::accept);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
}

void TSelectDBDialog::SetLocation(const QString& location) {
    m_location = location;
    m_edit->setText(location);
}

bool TSelectDBDialog::ReadOnly() const { return m_readOnly->isChecked(); }
void TSelectDBDialog::SetReadOnly(bool value) { m_readOnly->setChecked(value); }
bool TSelectDBDialog::Exclusive() const { return m_exclusive->isChecked(); }
void TSelectDBDialog::SetExclusive(bool value) { m_exclusive->setChecked(value); }

void TSelectDBDialog::SelectBtnClick() {
    QString location;
    SelectDatabase(m_location, location);
    if (!location.isEmpty()) SetLocation(location);
}

bool ChooseDatabase(QString& location, bool& readOnly, bool& exclusive) {
    TSelectDBDialog dialog;
    dialog.SetLocation(location);
    dialog.SetReadOnly(readOnly);
    dialog.SetExclusive(exclusive);
    if (dialog.exec() != QDialog::Accepted) return false;
    location = dialog.Location();
    readOnly = dialog.ReadOnly();
    exclusive = dialog.Exclusive();
    return true;
}
