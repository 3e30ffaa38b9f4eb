#include "setup/ostpassworddlg.h"

#include "engine/ostengine.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <memory>

TOstPasswordDlg::TOstPasswordDlg(QWidget* parent) : QDialog(parent) {
    setWindowTitle(QStringLiteral("Ostra Password"));
    auto* message = new QLabel(QStringLiteral("Please enter the password."), this);
    m_tableName = new QLineEdit(this);
    m_tableName->setReadOnly(true);
    m_tableName->setFocusPolicy(Qt::NoFocus);
    m_password = new QLineEdit(this);
    m_password->setEchoMode(QLineEdit::Password);
    auto* note = new QLabel(
        QStringLiteral("A table encrypted with a password and a key takes both in this box, "
                       "separated by a semicolon (for example: secret;1234)."),
        this);
    note->setWordWrap(true);
    auto* buttons = new QDialogButtonBox(this);
    m_ok = buttons->addButton(QStringLiteral("Ok"), QDialogButtonBox::AcceptRole);
    m_ok->setDefault(true);
    buttons->addButton(QStringLiteral("Cancel"), QDialogButtonBox::RejectRole);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("Database or Table"), m_tableName);
    form->addRow(QStringLiteral("Password"), m_password);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(message);
    layout->addLayout(form);
    layout->addWidget(note);
    layout->addWidget(buttons);
    setMinimumWidth(360);
}

void TOstPasswordDlg::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    m_password->setFocus();
}

int TOstPasswordDlg::Execute(const QString& tableName, QString& password) {
    m_tableName->setText(tableName);
    m_password->clear();
    const int result = exec();
    if (result == QDialog::Accepted) password = m_password->text();
    return result;
}

bool EnterOstTablePassword(const QString& tableName, QString& password) {
    TOstPasswordDlg dialog(QApplication::activeWindow());
    return dialog.Execute(tableName, password) == QDialog::Accepted;
}

void TPasswordRequester::OnPassword(QObject* sender, const QString& tableName, QString& password, bool& retry) {
    Q_UNUSED(sender)
    retry = EnterOstTablePassword(tableName, password);
}

// ---------------------------------------------------------------- load and unload

namespace {

std::unique_ptr<TPasswordRequester>& Requester() {
    static std::unique_ptr<TPasswordRequester> requester;
    return requester;
}

// Installs the requester when the package is loaded and takes it away when it
// is unloaded; once per load.
struct TPasswordDlgUnit {
    TPasswordDlgUnit() {
        if (Requester()) return;
        Requester() = std::make_unique<TPasswordRequester>();
        TPasswordRequester* r = Requester().get();
        SetGlobalOnPassword([r](QObject* sender, const QString& name, QString& password, bool& retry) {
            r->OnPassword(sender, name, password, retry);
        });
    }
    ~TPasswordDlgUnit() {
        SetGlobalOnPassword(nullptr);
        Requester().reset();
    }
};

const TPasswordDlgUnit unit;

} // namespace

TPasswordRequester* InstalledPasswordRequester() { return Requester().get(); }
