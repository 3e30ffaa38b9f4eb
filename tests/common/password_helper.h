// Answering the password dialog from a test as a user types into it.
#pragma once

#include "modal_helper.h"
#include "setup/ostpasswordchangedlg.h"

#include <QLineEdit>
#include <QPushButton>

// Types password twice (the confirmation typed, so that it counts as entered
// even before the dialog is active) and confirms it.
inline void EnterPassword(TOstPasswordChangeDialog* p, const QString& password) {
    p->PasswordEdit()->clear();
    QTest::keyClicks(p->PasswordEdit(), password);
    p->ConfirmEdit()->clear();
    QTest::keyClicks(p->ConfirmEdit(), password);
    QVERIFY(p->OkButton()->isEnabled());
    p->OkButton()->click();
}

// Answers the next password dialog with password, or cancels it when password
// is empty; method gets the encryption method the dialog was shown for.
inline void AnswerPassword(const QString& password, int* method = nullptr) {
    WhenShown<TOstPasswordChangeDialog>(
        [=](TOstPasswordChangeDialog* d) {
            if (method) *method = d->EncryptionMethod();
            if (password.isEmpty()) d->CancelButton()->click();
            else EnterPassword(d, password);
        },
        QStringLiteral("Enter Password"));
}
