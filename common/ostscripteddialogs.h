// A dialog service that answers from a script instead of showing dialogs,
// for tests. Answers are queued before the code under test runs and used in
// order; every call is recorded. A call that finds no answer, or an answer of
// the wrong kind, or a button the box does not offer, is a failure: by
// default the process stops with a fatal message naming the call.
#pragma once

#include "common/ostdialogservice.h"
#include "engine/base/sysutils.h"

#include <QList>
#include <QPointer>
#include <QWidget>
#include <functional>

// Raised by the failure handler that ThrowOnFailure installs.
class EScriptedDialog : public Exception {
public:
    using Exception::Exception;
};

class TScriptedDialogService : public IOstDialogService {
public:
    enum class TCallKind { Message, Directory, OpenFile, SaveFile, Text, Choice };

    struct TCall {
        TCallKind Kind;
        QPointer<QWidget> Owner;
        QString Caption;
        QString Text; // message text or prompt label
        QMessageBox::Icon Icon = QMessageBox::NoIcon;
        QMessageBox::StandardButtons Buttons;
        QString Filter;
        QString DefaultSuffix;
        QString InitialDir;
        QString Value; // incoming folder, file name, text or preselected item
        QStringList Items; // the entries of a choice
    };

    TScriptedDialogService() = default;
    // Warns when answers are left over: a dialog the test expected never came.
    ~TScriptedDialogService() override;

    // The next message box is answered with this button.
    TScriptedDialogService& Press(QMessageBox::StandardButton button);
    // The next folder chooser, file chooser or text prompt is accepted with
    // this value.
    TScriptedDialogService& ChooseDirectory(const QString& dir);
    TScriptedDialogService& ChooseFile(const QString& fileName);
    TScriptedDialogService& EnterText(const QString& text);
    // The next choice is accepted with this entry, which must be one of the
    // entries it offers.
    TScriptedDialogService& ChooseItem(const QString& item);
    // The next folder chooser, file chooser, text prompt or choice is cancelled.
    TScriptedDialogService& Cancel();

    const QList<TCall>& Calls() const { return m_calls; }
    qsizetype PendingAnswers() const { return m_answers.size(); }
    void Clear();

    // What a failure does. The handler may throw; if it returns, the call
    // is answered with NoButton or as cancelled.
    void SetFailureHandler(std::function<void(const QString&)> handler) { m_onFailure = std::move(handler); }
    // Raises EScriptedDialog instead; meant for calls made straight from a
    // test, since an exception must not cross a running event loop.
    void ThrowOnFailure();

    int MessageBox(QWidget* owner, const QString& caption, const QString& text, QMessageBox::Icon icon,
                   QMessageBox::StandardButtons buttons) override;
    bool SelectDirectory(QWidget* owner, const QString& caption, QString& dir) override;
    bool OpenFileName(QWidget* owner, const QString& caption, const QString& filter, const QString& initialDir,
                      QString& fileName) override;
    bool SaveFileName(QWidget* owner, const QString& caption, const QString& filter, const QString& defaultSuffix,
                      const QString& initialDir, QString& fileName) override;
    bool PromptText(QWidget* owner, const QString& caption, const QString& label, QString& text) override;
    bool ChooseItem(QWidget* owner, const QString& caption, const QString& label, const QStringList& items,
                    QString& item) override;

private:
    enum class TAnswerKind { Button, Directory, File, Text, Choice, Cancel };
    struct TAnswer {
        TAnswerKind Kind;
        QMessageBox::StandardButton Button = QMessageBox::NoButton;
        QString Value;
    };

    TScriptedDialogService& Queue(TAnswer answer);
    // Records the call and takes the next answer if it is of the accepted
    // kind (or cancels a chooser or prompt); false after a failure.
    bool Take(TCall call, TAnswerKind accepted, TAnswer& answer);
    // Hands a chooser or prompt its answer: true and value set when accepted.
    bool Answer(TCall call, TAnswerKind accepted, QString& value);
    void Fail(const QString& message);

    QList<TAnswer> m_answers;
    QList<TCall> m_calls;
    std::function<void(const QString&)> m_onFailure;
};
