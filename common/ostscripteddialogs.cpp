#include "common/ostscripteddialogs.h"

#include <QtGlobal>

namespace {

QString KindName(TScriptedDialogService::TCallKind kind) {
    switch (kind) {
    case TScriptedDialogService::TCallKind::Message:
        return QStringLiteral("message box");
    case TScriptedDialogService::TCallKind::Directory:
        return QStringLiteral("folder chooser");
    case TScriptedDialogService::TCallKind::OpenFile:
        return QStringLiteral("open file chooser");
    case TScriptedDialogService::TCallKind::SaveFile:
        return QStringLiteral("save file chooser");
    case TScriptedDialogService::TCallKind::Text:
        return QStringLiteral("text prompt");
    case TScriptedDialogService::TCallKind::Choice:
        return QStringLiteral("choice");
    }
    return QString();
}

QString Describe(const TScriptedDialogService::TCall& call) {
    QString s = QStringLiteral("%1 \"%2\"").arg(KindName(call.Kind), call.Caption);
    if (!call.Text.isEmpty())
        s += QStringLiteral(": \"%1\"").arg(call.Text);
    return s;
}

} // namespace

TScriptedDialogService::~TScriptedDialogService() {
    if (!m_answers.isEmpty())
        qWarning("TScriptedDialogService: %lld scripted answer(s) were never asked for", qlonglong(m_answers.size()));
}

TScriptedDialogService& TScriptedDialogService::Queue(TAnswer answer) {
    m_answers.append(std::move(answer));
    return *this;
}

TScriptedDialogService& TScriptedDialogService::Press(QMessageBox::StandardButton button) {
    return Queue({TAnswerKind::Button, button, QString()});
}

TScriptedDialogService& TScriptedDialogService::ChooseDirectory(const QString& dir) {
    return Queue({TAnswerKind::Directory, QMessageBox::NoButton, dir});
}

TScriptedDialogService& TScriptedDialogService::ChooseFile(const QString& fileName) {
    return Queue({TAnswerKind::File, QMessageBox::NoButton, fileName});
}

TScriptedDialogService& TScriptedDialogService::EnterText(const QString& text) {
    return Queue({TAnswerKind::Text, QMessageBox::NoButton, text});
}

TScriptedDialogService& TScriptedDialogService::ChooseItem(const QString& item) {
    return Queue({TAnswerKind::Choice, QMessageBox::NoButton, item});
}

TScriptedDialogService& TScriptedDialogService::Cancel() {
    return Queue({TAnswerKind::Cancel, QMessageBox::NoButton, QString()});
}

void TScriptedDialogService::Clear() {
    m_answers.clear();
    m_calls.clear();
}

void TScriptedDialogService::ThrowOnFailure() {
    m_onFailure = [](const QString& message) { throw EScriptedDialog(message); };
}

void TScriptedDialogService::Fail(const QString& message) {
    if (m_onFailure)
        m_onFailure(message);
    else
        qFatal("TScriptedDialogService: %s", qPrintable(message));
}

bool TScriptedDialogService::Take(TCall call, TAnswerKind accepted, TAnswer& answer) {
    const QString what = Describe(call);
    m_calls.append(std::move(call));
    if (m_answers.isEmpty()) {
        Fail(QStringLiteral("no answer scripted for the %1").arg(what));
        return false;
    }
    const TAnswerKind kind = m_answers.first().Kind;
    const bool cancellable = accepted != TAnswerKind::Button;
    if (kind != accepted && !(cancellable && kind == TAnswerKind::Cancel)) {
        Fail(QStringLiteral("the next scripted answer does not fit the %1").arg(what));
        return false;
    }
    answer = m_answers.takeFirst();
    return true;
}

bool TScriptedDialogService::Answer(TCall call, TAnswerKind accepted, QString& value) {
    TAnswer answer;
    if (!Take(std::move(call), accepted, answer) || answer.Kind == TAnswerKind::Cancel)
        return false;
    value = answer.Value;
    return true;
}

int TScriptedDialogService::MessageBox(QWidget* owner, const QString& caption, const QString& text,
                                       QMessageBox::Icon icon, QMessageBox::StandardButtons buttons) {
    TCall call{TCallKind::Message, owner, caption, text, icon, buttons, {}, {}, {}, {}, {}};
    TAnswer answer;
    if (!Take(call, TAnswerKind::Button, answer))
        return QMessageBox::NoButton;
    if (!buttons.testFlag(answer.Button)) {
        Fail(QStringLiteral("the %1 offers no button %2")
                 .arg(Describe(call))
                 .arg(QString::number(int(answer.Button), 16)));
        return QMessageBox::NoButton;
    }
    return answer.Button;
}

bool TScriptedDialogService::SelectDirectory(QWidget* owner, const QString& caption, QString& dir) {
    return Answer({TCallKind::Directory, owner, caption, {}, QMessageBox::NoIcon, {}, {}, {}, {}, dir, {}},
                  TAnswerKind::Directory, dir);
}

bool TScriptedDialogService::OpenFileName(QWidget* owner, const QString& caption, const QString& filter,
                                          const QString& initialDir, QString& fileName) {
    return Answer({TCallKind::OpenFile, owner, caption, {}, QMessageBox::NoIcon, {}, filter, {}, initialDir, fileName,
                   {}},
                  TAnswerKind::File, fileName);
}

bool TScriptedDialogService::SaveFileName(QWidget* owner, const QString& caption, const QString& filter,
                                          const QString& defaultSuffix, const QString& initialDir,
                                          QString& fileName) {
    return Answer({TCallKind::SaveFile, owner, caption, {}, QMessageBox::NoIcon, {}, filter, defaultSuffix, initialDir,
                   fileName, {}},
                  TAnswerKind::File, fileName);
}

bool TScriptedDialogService::PromptText(QWidget* owner, const QString& caption, const QString& label,
                                        QString& text) {
    return Answer({TCallKind::Text, owner, caption, label, QMessageBox::NoIcon, {}, {}, {}, {}, text, {}},
                  TAnswerKind::Text, text);
}

bool TScriptedDialogService::ChooseItem(QWidget* owner, const QString& caption, const QString& label,
                                        const QStringList& items, QString& item) {
    TCall call{TCallKind::Choice, owner, caption, label, QMessageBox::NoIcon, {}, {}, {}, {}, item, items};
    const QString what = Describe(call);
    TAnswer answer;
    if (!Take(std::move(call), TAnswerKind::Choice, answer) || answer.Kind == TAnswerKind::Cancel)
        return false;
    if (!items.contains(answer.Value)) {
        Fail(QStringLiteral("the %1 offers no entry \"%2\"").arg(what, answer.Value));
        return false;
    }
    item = answer.Value;
    return true;
}
