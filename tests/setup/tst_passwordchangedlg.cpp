// The password change: which entries each encryption method accepts, the
// second box that opens only for a valid first entry and "OK" only for a
// repetition, the note of the password-and-key method with the layout that
// follows it, and what showing the dialog resets.
#include "../common/modal_helper.h"
#include "engine/ostengine.h"
#include "setup/ostpasswordchangedlg.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QtTest>

class TstPasswordChangeDlg : public QObject {
    Q_OBJECT
private slots:
    void validEntries_data();
    void validEntries();
    void secondEntryMustRepeatTheFirst();
    void fillerNeverCountsAsRepetition();
    void noteAndLayoutFollowTheMethod();
    void showingStartsAfresh();
};

void TstPasswordChangeDlg::validEntries_data() {
    QTest::addColumn<int>("method");
    QTest::addColumn<QString>("entry");
    QTest::addColumn<bool>("valid");
    for (int method : {int(emNone), int(emProtection), int(emBlowfish)}) {
        const QByteArray m = QByteArray::number(method);
        QTest::newRow(m + ": five characters") << method << "abcde" << false;
        QTest::newRow(m + ": six characters") << method << "abcdef" << true;
        QTest::newRow(m + ": a semicolon is just a character") << method << "ab;;cd" << true;
    }
    const int classic = emClassic;
    QTest::newRow("classic: six, semicolon, number") << classic << "KeyWrd;518274" << true;
    QTest::newRow("classic: key 0") << classic << "secret;0" << true;
    QTest::newRow("classic: five before the semicolon") << classic << "short;518274" << false;
    QTest::newRow("classic: no semicolon") << classic << "secretpassword" << false;
    QTest::newRow("classic: empty key") << classic << "secret;" << false;
    QTest::newRow("classic: negative key") << classic << "secret;-1" << false;
    QTest::newRow("classic: key not a number") << classic << "secret;12ab" << false;
    // The last semicolon separates: the password may hold semicolons.
    QTest::newRow("classic: split at the last semicolon") << classic << "pa;ss;wd;42" << true;
    QTest::newRow("classic: last semicolon too early") << classic << "a;b;c;42" << false;
    QTest::newRow("classic: key holding a semicolon") << classic << "secret;12;x" << false;
}

void TstPasswordChangeDlg::validEntries() {
    QFETCH(int, method);
    QFETCH(QString, entry);
    QFETCH(bool, valid);
    TOstPasswordChangeDialog dialog;
    dialog.SetEncryptionMethod(method);
    QCOMPARE(dialog.IsValidKey(entry), valid);
}

void TstPasswordChangeDlg::secondEntryMustRepeatTheFirst() {
    TOstPasswordChangeDialog dialog;
    dialog.SetEncryptionMethod(emProtection);
    QVERIFY(ShowActive(dialog));
    QLineEdit* first = dialog.PasswordEdit();
    QLineEdit* second = dialog.ConfirmEdit();
    QTRY_VERIFY(first->hasFocus());

    QTest::keyClicks(first, "abcde");
    QVERIFY(!second->isEnabled());
    QCOMPARE(second->text(), TOstPasswordChangeDialog::FillerText());
    QCOMPARE(second->text().size(), 14);
    QVERIFY(!dialog.OkButton()->isEnabled());

    QTest::keyClicks(first, "f");
    QVERIFY(second->isEnabled());
    QVERIFY(!dialog.OkButton()->isEnabled());
    // Entering the second box clears it.
    second->setFocus(Qt::TabFocusReason);
    QTRY_VERIFY(second->hasFocus());
    QCOMPARE(second->text(), QString());
    QTest::keyClicks(second, "abcdeF");
    QVERIFY(!dialog.OkButton()->isEnabled()); // the comparison heeds case
    QTest::keyClick(second, Qt::Key_Backspace);
    QTest::keyClicks(second, "f");
    QVERIFY(dialog.OkButton()->isEnabled());

    // Typing into the first box again takes "OK" away until the second repeats it.
    first->setFocus(Qt::OtherFocusReason);
    QTRY_VERIFY(first->hasFocus());
    QTest::keyClicks(first, "g");
    QVERIFY(!dialog.OkButton()->isEnabled());
    QVERIFY(second->isEnabled());
    second->setFocus(Qt::TabFocusReason);
    QTRY_VERIFY(second->hasFocus());
    QTest::keyClicks(second, "abcdefg");
    QVERIFY(dialog.OkButton()->isEnabled());

    // Back below six characters: the second box closes and holds the filler again.
    first->setFocus(Qt::OtherFocusReason);
    QTRY_VERIFY(first->hasFocus());
    first->selectAll();
    QTest::keyClicks(first, "abc");
    QVERIFY(!second->isEnabled());
    QCOMPARE(second->text(), TOstPasswordChangeDialog::FillerText());
    QVERIFY(!dialog.OkButton()->isEnabled());

    QTest::keyClicks(first, "def");
    QTest::mouseClick(dialog.OkButton(), Qt::LeftButton);
    QVERIFY(!dialog.OkButton()->isEnabled()); // the filler was never entered: nothing to accept
    QVERIFY(dialog.isVisible());
}

void TstPasswordChangeDlg::fillerNeverCountsAsRepetition() {
    TOstPasswordChangeDialog dialog;
    dialog.SetEncryptionMethod(emBlowfish);
    QVERIFY(ShowActive(dialog));
    // A first entry equal to the filler finds the second box holding the
    // same characters: still no repetition.
    QTest::keyClicks(dialog.PasswordEdit(), TOstPasswordChangeDialog::FillerText());
    QVERIFY(dialog.ConfirmEdit()->isEnabled());
    QCOMPARE(dialog.ConfirmEdit()->text(), dialog.PasswordEdit()->text());
    QVERIFY(!dialog.OkButton()->isEnabled());
    dialog.ConfirmEdit()->setFocus(Qt::TabFocusReason);
    QTRY_VERIFY(dialog.ConfirmEdit()->hasFocus());
    QTest::keyClicks(dialog.ConfirmEdit(), TOstPasswordChangeDialog::FillerText());
    QVERIFY(dialog.OkButton()->isEnabled());
}

void TstPasswordChangeDlg::noteAndLayoutFollowTheMethod() {
    TOstPasswordChangeDialog dialog;
    QCOMPARE(dialog.EncryptionMethod(), int(emNone));
    QStringList texts;
    for (const QLabel* label : dialog.findChildren<QLabel*>())
        texts.append(label->text());
    QVERIFY(
        texts.contains("Enter a password to protect your data. Password must have at least six characters"));
    QVERIFY(texts.contains("Password"));
    QVERIFY(texts.contains("Re-enter Password"));
    QVERIFY(dialog.PasswordEdit()->echoMode() == QLineEdit::Password);
    QVERIFY(dialog.ConfirmEdit()->echoMode() == QLineEdit::Password);

    dialog.SetEncryptionMethod(emClassic);
    QVERIFY(ShowActive(dialog));
    QCOMPARE(dialog.NoteLabel()->text(),
             QStringLiteral("NOTE: The selected encryption method requires a password AND "
                            "a key. Separate them by a semicolon, e.g. KeyWrd;518274"));
    QVERIFY(dialog.NoteLabel()->isVisible());
    QTRY_COMPARE(dialog.OkButton()->y(), dialog.NoteLabel()->geometry().bottom() + 1 + 10);
    QCOMPARE(dialog.CancelButton()->y(), dialog.OkButton()->y());
    QCOMPARE(dialog.height(), dialog.OkButton()->geometry().bottom() + 1 + 10);

    dialog.SetEncryptionMethod(emRijndael);
    QCOMPARE(dialog.NoteLabel()->text(), QString());
    QVERIFY(!dialog.NoteLabel()->isVisible());
    QTRY_COMPARE(dialog.OkButton()->y(), dialog.ConfirmEdit()->geometry().bottom() + 1 + 10);
    QTRY_COMPARE(dialog.height(), dialog.OkButton()->geometry().bottom() + 1 + 10);
}

void TstPasswordChangeDlg::showingStartsAfresh() {
    TOstPasswordChangeDialog dialog;
    dialog.SetEncryptionMethod(emClassic);
    QString focused;
    bool okAtStart = true, noteShown = false;
    auto answer = [&](TOstPasswordChangeDialog* d) {
        QTRY_VERIFY(d->PasswordEdit()->hasFocus());
        okAtStart = d->OkButton()->isEnabled();
        noteShown = d->NoteLabel()->isVisible();
        QCOMPARE(d->PasswordEdit()->text(), QString());
        QTest::keyClicks(d->PasswordEdit(), "secret;77");
        d->ConfirmEdit()->setFocus(Qt::TabFocusReason);
        QTest::keyClicks(d->ConfirmEdit(), "secret;77");
        QTest::mouseClick(d->OkButton(), Qt::LeftButton);
    };
    WhenShown<TOstPasswordChangeDialog>(answer, QStringLiteral("Enter Password"));
    QCOMPARE(dialog.exec(), int(QDialog::Accepted));
    QCOMPARE(dialog.Password(), QStringLiteral("secret;77"));
    QVERIFY(!okAtStart);
    QVERIFY(noteShown);

    // Shown again: the entries are gone and "OK" waits for new ones.
    WhenShown<TOstPasswordChangeDialog>([&](TOstPasswordChangeDialog* d) {
        QCOMPARE(d->PasswordEdit()->text(), QString());
        QCOMPARE(d->ConfirmEdit()->text(), TOstPasswordChangeDialog::FillerText());
        QVERIFY(!d->OkButton()->isEnabled());
        d->CancelButton()->click();
    });
    QCOMPARE(dialog.exec(), int(QDialog::Rejected));
}

QTEST_MAIN(TstPasswordChangeDlg)
#include "tst_passwordchangedlg.moc"
