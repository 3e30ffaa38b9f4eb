#include "setup/ostcreatedbdlg.h"

#include "common/ostdialogservice.h"
#include "designer/core/osttableprops.h"
#include "engine/ostengine.h"
#include "setup/core/ostcreatedbcore.h"
#include "setup/ostpasswordchangedlg.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QFileInfo>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

QLabel* Explanation(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    label->setIndent(22);
    QPalette p = label->palette();
    p.setColor(QPalette::WindowText, p.color(QPalette::Disabled, QPalette::WindowText));
    label->setPalette(p);
    return label;
}

} // namespace

// FormCreate
TCreateDBDialog::TCreateDBDialog(QWidget* parent) : QDialog(parent), m_method(emNone) {
    setObjectName(QStringLiteral("CreateDBDialog"));
    setWindowTitle(QStringLiteral("Create a New Ostra Database"));

    auto* typeGroup = new QGroupBox(QStringLiteral(" Database Type "), this);
    m_singleFile = new QRadioButton(QStringLiteral("Single-File Database"), typeGroup);
    m_singleFile->setObjectName(QStringLiteral("SingleFileRadio"));
    m_directory = new QRadioButton(QStringLiteral("Database Directory"), typeGroup);
    m_directory->setObjectName(QStringLiteral("DirectoryRadio"));
    auto* typeLayout = new QVBoxLayout(typeGroup);
    typeLayout->addWidget(m_singleFile);
    typeLayout->addWidget(Explanation(QStringLiteral("A single-file database stores all database objects (tables, "
                                                     "indexes etc.) in a single file with the extension ostd."),
                                      typeGroup));
    typeLayout->addWidget(m_directory);
    typeLayout->addWidget(Explanation(
        QStringLiteral("A directory database stores the database objects in different files like dat, ind, mmo etc."),
        typeGroup));
    auto* types = new QButtonGroup(this);
    types->addButton(m_singleFile);
    types->addButton(m_directory);

    auto* adminGroup = new QGroupBox(QStringLiteral(" Administration "), this);
    m_catalog = new QRadioButton(QStringLiteral("Catalog"), adminGroup);
    m_catalog->setObjectName(QStringLiteral("CatalogRadio"));
    m_none = new QRadioButton(QStringLiteral("None"), adminGroup);
    m_none->setObjectName(QStringLiteral("NoneRadio"));
    m_encryption = new QComboBox(adminGroup);
    m_encryption->setObjectName(QStringLiteral("EncryptionTypComboBox"));
    m_keyBtn = new QPushButton(QStringLiteral("Password"), adminGroup);
    m_keyBtn->setObjectName(QStringLiteral("EncryptionkeyBtn"));
    auto* encryptionLabel = new QLabel(QStringLiteral("&Encryption:"), adminGroup);
    encryptionLabel->setBuddy(m_encryption);
    auto* encryption = new QHBoxLayout;
    encryption->setContentsMargins(22, 0, 0, 0);
    encryption->addWidget(encryptionLabel);
    encryption->addWidget(m_encryption, 1);
    encryption->addWidget(m_keyBtn);
    auto* adminLayout = new QVBoxLayout(adminGroup);
    adminLayout->addWidget(m_catalog);
    adminLayout->addWidget(Explanation(QStringLiteral("The database keeps track of its tables as well as of general "
                                                      "settings like the encryption algorithm."),
                                       adminGroup));
    adminLayout->addLayout(encryption);
    adminLayout->addWidget(m_none);
    adminLayout->addWidget(Explanation(
        QStringLiteral("This is the classic way of a Ostra database. It handles each table as a separate entity."),
        adminGroup));
    auto* levels = new QButtonGroup(this);
    levels->addButton(m_catalog);
    levels->addButton(m_none);

    auto* locationGroup = new QGroupBox(QStringLiteral(" Database Location "), this);
    auto* locationLabel = new QLabel(QStringLiteral("Select a location for the new database"), locationGroup);
    m_locationEdit = new QLineEdit(locationGroup);
    m_locationEdit->setObjectName(QStringLiteral("LocationEdit"));
    m_locationEdit->setMinimumWidth(320);
    locationLabel->setBuddy(m_locationEdit);
    m_selectLocation = new QToolButton(locationGroup);
    m_selectLocation->setObjectName(QStringLiteral("SelectLocationBtn"));
    m_selectLocation->setText(QStringLiteral("..."));
    m_selectLocation->setToolTip(QStringLiteral("Choose the location (Ctrl+B)"));
    m_selectLocation->setShortcut(QKeySequence(QStringLiteral("Ctrl+B")));
    m_selectLocation->setFocusPolicy(Qt::StrongFocus);
    auto* locationLayout = new QGridLayout(locationGroup);
    locationLayout->addWidget(locationLabel, 0, 0, 1, 2);
    locationLayout->addWidget(m_locationEdit, 1, 0);
    locationLayout->addWidget(m_selectLocation, 1, 1);

    m_ok = new QPushButton(QStringLiteral("&OK"), this);
    m_ok->setObjectName(QStringLiteral("OKBtn"));
    m_ok->setDefault(true);
    m_cancel = new QPushButton(QStringLiteral("&Cancel"), this);
    m_cancel->setObjectName(QStringLiteral("CancelBtn"));
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_ok);
    buttons->addWidget(m_cancel);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(typeGroup);
    layout->addWidget(adminGroup);
    layout->addWidget(locationGroup);
    layout->addLayout(buttons);

    m_encryption->addItems(CreateDBEncryptionMethods());
    m_encryption->setCurrentIndex(m_encryption->findText(GetEncryptionMethodName(emNone)));
    m_directory->setChecked(true);
    m_none->setChecked(true);

    connect(m_singleFile, &QRadioButton::clicked, this, &TCreateDBDialog::DatabaseTypeClick);
    connect(m_directory, &QRadioButton::clicked, this, &TCreateDBDialog::DatabaseTypeClick);
    connect(m_catalog, &QRadioButton::clicked, this, &TCreateDBDialog::ManagementLevelClick);
    connect(m_none, &QRadioButton::clicked, this, &TCreateDBDialog::ManagementLevelClick);
    connect(m_encryption, &QComboBox::currentIndexChanged, this, &TCreateDBDialog::EncryptionTypComboBoxChange);
    connect(m_keyBtn, &QPushButton::clicked, this, &TCreateDBDialog::EncryptionkeyBtnClick);
    connect(m_selectLocation, &QToolButton::clicked, this, &TCreateDBDialog::SelectLocationBtnClick);
    connect(m_ok, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_cancel, &QPushButton::clicked, this, &QDialog::reject);

    DatabaseTypeClick();
    ManagementLevelClick();
}

int TCreateDBDialog::GetDatabaseType() const { return m_singleFile->isChecked() ? dbtSingleFile : dbtDirectory; }

bool TCreateDBDialog::GetManagementLevel() const { return m_catalog->isChecked(); }

int TCreateDBDialog::GetEncryptionMethod() const { return CreateDBEncryptionMethod(GetManagementLevel(), m_method); }

QString TCreateDBDialog::GetPassword() const { return CreateDBPassword(GetManagementLevel(), m_password); }

QString TCreateDBDialog::GetLocation() const { return CreateDBLocation(m_locationEdit->text(), m_singleFile->isChecked()); }

QString TCreateDBDialog::GetEncryptionKey() {
    TOstPasswordChangeDialog dialog(this);
    dialog.SetEncryptionMethod(m_method);
    return dialog.exec() == QDialog::Accepted ? dialog.Password() : QString();
}

void TCreateDBDialog::SetSaveDialogDefaults(const QString& defaultExt, const QString& filter) {
    m_saveDefaultExt = defaultExt;
    m_saveFilter = filter;
}

// Every change of the type goes back to no catalog, on purpose.
void TCreateDBDialog::DatabaseTypeClick() {
    m_catalog->setChecked(false);
    m_none->setChecked(true);
    ManagementLevelClick();
}

void TCreateDBDialog::ManagementLevelClick() {
    const bool managed = m_catalog->isChecked();
    m_encryption->setEnabled(managed);
    m_keyBtn->setEnabled(managed);
    EncryptionTypComboBoxChange();
}

// Decides the password button's final state: the methods from "Protection" on take a password.
void TCreateDBDialog::EncryptionTypComboBoxChange() {
    m_method = GetEncryptionMethodFromMethodName(m_encryption->currentText());
    const int firstWithPassword = m_encryption->findText(GetEncryptionMethodName(emProtection));
    m_keyBtn->setEnabled(m_encryption->currentIndex() >= firstWithPassword);
}

void TCreateDBDialog::EncryptionkeyBtnClick() { m_password = GetEncryptionKey(); }

void TCreateDBDialog::SelectLocationBtnClick() {
    const bool single = m_singleFile->isChecked();
    m_saveDefaultExt = single ? QStringLiteral("ostd") : QString();
    m_saveFilter = single ? QStringLiteral("Ostra Database File (*.ostd)|*.ostd") : QStringLiteral("Database Directory|*");
    QString fileName = m_locationEdit->text().trimmed();
    const QString dir = fileName.isEmpty() ? QString() : QFileInfo(fileName).absolutePath();
    if (OstDialogs().SaveFileName(this, single ? QStringLiteral("Enter a Database File Name") : QStringLiteral("Enter a Directory Name"),
                                  m_saveFilter, m_saveDefaultExt, dir, fileName))
        m_locationEdit->setText(fileName);
}

void TCreateDBDialog::FormCloseQuery(bool& canClose) {
    canClose = true;
    if (m_locationEdit->text().trimmed().isEmpty()) {
        OstDialogs().MessageBox(this, QStringLiteral("Error"), CreateDBLocationMissing(), QMessageBox::Critical,
                                QMessageBox::Ok);
        canClose = false;
        return;
    }
    if (CreateDBProblem(m_locationEdit->text(), m_method, m_password).isEmpty()) return;
    m_password = GetEncryptionKey();
    if (m_password.trimmed().isEmpty()) {
        OstDialogs().MessageBox(this, QStringLiteral("Information"), CreateDBPasswordMissing(), QMessageBox::Information,
                                QMessageBox::Ok);
        canClose = false;
    }
}

void TCreateDBDialog::done(int result) {
    if (result == QDialog::Accepted) {
        bool canClose = true;
        FormCloseQuery(canClose);
        if (!canClose) return;
    }
    QDialog::done(result);
}

// FormShow
void TCreateDBDialog::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    m_directory->setChecked(!m_singleFile->isChecked());
    m_locationEdit->setFocus();
}
