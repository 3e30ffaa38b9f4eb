#include "setup/ostpasswordchangedlg.h"

#include "engine/ostengine.h"
#include "setup/core/ostpasswordcore.h"

#include <QFocusEvent>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

// The method that takes a password and a key in one entry.
constexpr int kPasswordAndKeyMethod = emClassic;
constexpr int kGap = 10;

} // namespace

TOstPasswordChangeDialog::TOstPasswordChangeDialog(QWidget* parent) : QDialog(parent) {
    setWindowTitle(QStringLiteral("Enter Password"));
    auto* message = new QLabel(
        QStringLiteral("Enter a password to protect your data. Password must have at least six characters"),
        this);
    message->setWordWrap(true);
    m_password = new QLineEdit(this);
    m_password->setEchoMode(QLineEdit::Password);
    m_confirm = new QLineEdit(this);
    m_confirm->setEchoMode(QLineEdit::Password);
    m_confirm->installEventFilter(this);
    m_note = new QLabel(this);
    m_note->setWordWrap(true);
    m_ok = new QPushButton(QStringLiteral("OK"), this);
    m_ok->setDefault(true);
    m_cancel = new QPushButton(QStringLiteral("Cancel"), this);
    connect(m_ok, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_password, &QLineEdit::textChanged, this, [this] { UpdateConfirmation(); });
    connect(m_confirm, &QLineEdit::textChanged, this, [this] { UpdateConfirmation(); });
    // Whatever the user types is no longer the filler.
    connect(m_confirm, &QLineEdit::textEdited, this, [this] { m_holdsFiller = false; });

    auto* form = new QFormLayout;
    form->setSpacing(kGap);
    form->addRow(QStringLiteral("Password"), m_password);
    form->addRow(QStringLiteral("Re-enter Password"), m_confirm);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_ok);
    buttons->addWidget(m_cancel);
    // The buttons stand 10 pixels below the note, or below the second box
    // while the note is hidden, and the dialog ends 10 pixels below them.
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kGap, kGap, kGap, kGap);
    layout->setSpacing(kGap);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    layout->addWidget(message);
    layout->addLayout(form);
    layout->addWidget(m_note);
    layout->addLayout(buttons);
    message->setFixedWidth(380);
    m_note->setFixedWidth(380);

    SetEncryptionMethod(m_method);
    UpdateConfirmation();
}

QString TOstPasswordChangeDialog::FillerText() {
    return QString(14, QChar(u'x'));
}

QString TOstPasswordChangeDialog::Password() const {
    return m_password->text();
}

void TOstPasswordChangeDialog::SetEncryptionMethod(int method) {
    m_method = method;
    const bool note = method == kPasswordAndKeyMethod;
    m_note->setText(note ? PasswordAndKeyNote() : QString());
    m_note->setVisible(note);
}

bool TOstPasswordChangeDialog::IsValidKey(const QString& text) const { return IsValidEncryptionKey(m_method, text); }

void TOstPasswordChangeDialog::UpdateConfirmation() {
    if (m_updating) return;
    m_updating = true;
    const bool valid = IsValidKey(m_password->text());
    m_confirm->setEnabled(valid);
    if (!valid && !(m_holdsFiller && m_confirm->text() == FillerText())) {
        m_confirm->setText(FillerText());
        m_holdsFiller = true;
    }
    m_ok->setEnabled(valid && !m_holdsFiller && m_confirm->text() == m_password->text());
    m_updating = false;
}

bool TOstPasswordChangeDialog::eventFilter(QObject* watched, QEvent* event) {
    // Coming back from another window is not entering the box.
    if (watched == m_confirm && event->type() == QEvent::FocusIn &&
        static_cast<QFocusEvent*>(event)->reason() != Qt::ActiveWindowFocusReason &&
        static_cast<QFocusEvent*>(event)->reason() != Qt::PopupFocusReason) {
        m_holdsFiller = false;
        m_confirm->clear();
        UpdateConfirmation();
    }
    return QDialog::eventFilter(watched, event);
}

void TOstPasswordChangeDialog::showEvent(QShowEvent* event) {
    SetEncryptionMethod(m_method);
    m_updating = true;
    m_password->clear();
    m_confirm->clear();
    m_holdsFiller = false;
    m_updating = false;
    UpdateConfirmation();
    QDialog::showEvent(event);
    m_password->setFocus();
}
