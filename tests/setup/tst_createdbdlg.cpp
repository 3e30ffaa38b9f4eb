// The create database dialog: its answers, the type switch that drops the
// catalog, the encryption controls that follow the management level, the
// checks before it closes (no location, a method without its password), the
// file chooser by type, and the core's location and method rules.
#include "../common/collected_dialogs.h"
#include "../common/modal_helper.h"
#include "common/ostscripteddialogs.h"
#include "engine/ostengine.h"
#include "setup/core/ostcreatedbcore.h"
#include "setup/core/ostpasswordcore.h"
#include "setup/ostcreatedbdlg.h"
#include "setup/ostpasswordchangedlg.h"

#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QtTest>

class TstCreateDBDlg : public QObject {
    Q_OBJECT
private slots:
    void locationAndMethodRules();
    void startsAsAPlainDirectoryDatabase();
    void typeSwitchDropsTheCatalog();
    void encryptionFollowsTheManagementLevel();
    void closeChecks();
    void missingPasswordIsAskedFor();
    void chooserFollowsTheType();
    void passwordForms();
};

namespace {

using Dialogs = TCollectedDialogs;

} // namespace

void TstCreateDBDlg::locationAndMethodRules() {
    QCOMPARE(CreateDBLocation("/data/shop", true), QStringLiteral("/data/shop.ostd"));
    QCOMPARE(CreateDBLocation("/data/shop.db", true), QStringLiteral("/data/shop.db"));
    QCOMPARE(CreateDBLocation("  /data/shop  ", false), QStringLiteral("/data/shop"));
    QCOMPARE(CreateDBLocation("/data.v2/shop", false), QStringLiteral("/data.v2/shop"));
    QCOMPARE(CreateDBEncryptionMethods(),
             QStringList({"None", "Protection", "Classic", "FastEncrypt", "Blowfish", "Rijndael/AES"}));
    QCOMPARE(CreateDBEncryptionMethod(false, emRijndael), int(emNone));
    QCOMPARE(CreateDBEncryptionMethod(true, emRijndael), int(emRijndael));
    QCOMPARE(CreateDBPassword(false, "secret"), QString());
    QCOMPARE(CreateDBProblem(" ", emNone, QString()), QStringLiteral("Select a location for the new database"));
    QCOMPARE(CreateDBProblem("x", emProtection, " "), QStringLiteral("Password missing"));
    QCOMPARE(CreateDBProblem("x", emNone, QString()), QString());
}

void TstCreateDBDlg::startsAsAPlainDirectoryDatabase() {
    TCreateDBDialog d;
    QVERIFY(d.DirectoryRadio()->isChecked());
    QVERIFY(d.NoneRadio()->isChecked());
    QCOMPARE(d.EncryptionTypComboBox()->currentText(), QStringLiteral("None"));
    QCOMPARE(d.EncryptionTypComboBox()->findText("Default"), -1);
    QVERIFY(!d.EncryptionTypComboBox()->isEnabled());
    QVERIFY(!d.EncryptionkeyBtn()->isEnabled());
    QCOMPARE(d.GetDatabaseType(), int(dbtDirectory));
    QVERIFY(!d.GetManagementLevel());
    QCOMPARE(d.GetEncryptionMethod(), int(emNone));
}

void TstCreateDBDlg::typeSwitchDropsTheCatalog() {
    TCreateDBDialog d;
    d.CatalogRadio()->click();
    QVERIFY(d.GetManagementLevel());
    d.SingleFileRadio()->click();
    QVERIFY(d.NoneRadio()->isChecked());
    QVERIFY(!d.GetManagementLevel());
    QCOMPARE(d.GetDatabaseType(), int(dbtSingleFile));
    d.CatalogRadio()->click();
    d.DirectoryRadio()->click();
    QVERIFY(!d.GetManagementLevel());
}

void TstCreateDBDlg::encryptionFollowsTheManagementLevel() {
    TCreateDBDialog d;
    d.CatalogRadio()->click();
    QVERIFY(d.EncryptionTypComboBox()->isEnabled());
    QVERIFY(!d.EncryptionkeyBtn()->isEnabled()); // "None" takes no password
    d.EncryptionTypComboBox()->setCurrentIndex(d.EncryptionTypComboBox()->findText("Protection"));
    QVERIFY(d.EncryptionkeyBtn()->isEnabled());
    QCOMPARE(d.StoredEncryptionMethod(), int(emProtection));
    QCOMPARE(d.GetEncryptionMethod(), int(emProtection));
    d.NoneRadio()->click();
    QVERIFY(!d.EncryptionTypComboBox()->isEnabled());
    QCOMPARE(d.GetEncryptionMethod(), int(emNone)); // not managed: no method, whatever is chosen
    QCOMPARE(d.StoredEncryptionMethod(), int(emProtection));
}

void TstCreateDBDlg::closeChecks() {
    Dialogs dialogs;
    TCreateDBDialog d;
    d.show();
    dialogs.service.Press(QMessageBox::Ok);
    d.OKBtn()->click();
    QVERIFY(d.isVisible());
    QCOMPARE(dialogs.service.Calls().last().Text, QStringLiteral("Select a location for the new database"));
    QCOMPARE(dialogs.service.Calls().last().Icon, QMessageBox::Critical);
    d.LocationEdit()->setText("/tmp/somewhere");
    d.OKBtn()->click();
    QVERIFY(!d.isVisible());
    QCOMPARE(d.result(), int(QDialog::Accepted));
    QCOMPARE(d.GetLocation(), QStringLiteral("/tmp/somewhere"));
    QCOMPARE(dialogs.failures, QStringList());
}

void TstCreateDBDlg::missingPasswordIsAskedFor() {
    Dialogs dialogs;
    TCreateDBDialog d;
    d.show();
    d.CatalogRadio()->click();
    d.EncryptionTypComboBox()->setCurrentIndex(d.EncryptionTypComboBox()->findText("Classic"));
    d.LocationEdit()->setText("/tmp/vault");
    // Cancelled: "Password missing", the dialog stays.
    int askedFor = -1;
    WhenShown<TOstPasswordChangeDialog>([&](TOstPasswordChangeDialog* p) {
        askedFor = p->EncryptionMethod();
        p->reject();
    });
    dialogs.service.Press(QMessageBox::Ok);
    d.OKBtn()->click();
    QCOMPARE(askedFor, int(emClassic));
    QVERIFY(d.isVisible());
    QCOMPARE(dialogs.service.Calls().last().Text, QStringLiteral("Password missing"));
    QCOMPARE(dialogs.service.Calls().last().Icon, QMessageBox::Information);
    // Given: the dialog closes and hands it over.
    WhenShown<TOstPasswordChangeDialog>([&](TOstPasswordChangeDialog* p) {
        p->PasswordEdit()->setText("secret;42");
        p->ConfirmEdit()->clear();
        QTest::keyClicks(p->ConfirmEdit(), "secret;42");
        p->OkButton()->click();
    });
    d.OKBtn()->click();
    QVERIFY(!d.isVisible());
    QCOMPARE(d.GetPassword(), QStringLiteral("secret;42"));
    QCOMPARE(d.GetEncryptionMethod(), int(emClassic));
    QCOMPARE(dialogs.failures, QStringList());
}

void TstCreateDBDlg::chooserFollowsTheType() {
    Dialogs dialogs;
    TCreateDBDialog d;
    d.SingleFileRadio()->click();
    dialogs.service.ChooseFile("/data/books.ostd");
    d.SelectLocationBtnClick();
    auto call = dialogs.service.Calls().last();
    QCOMPARE(call.Caption, QStringLiteral("Enter a Database File Name"));
    QCOMPARE(call.Filter, QStringLiteral("Ostra Database File (*.ostd)|*.ostd"));
    QCOMPARE(call.DefaultSuffix, QStringLiteral("ostd"));
    QCOMPARE(d.LocationEdit()->text(), QStringLiteral("/data/books.ostd"));
    d.DirectoryRadio()->click();
    dialogs.service.Cancel();
    d.SelectLocationBtnClick();
    call = dialogs.service.Calls().last();
    QCOMPARE(call.Caption, QStringLiteral("Enter a Directory Name"));
    QCOMPARE(call.Filter, QStringLiteral("Database Directory|*"));
    QCOMPARE(call.DefaultSuffix, QString());
    QCOMPARE(call.InitialDir, QStringLiteral("/data"));
    QCOMPARE(d.LocationEdit()->text(), QStringLiteral("/data/books.ostd")); // cancelled: unchanged
    QCOMPARE(dialogs.failures, QStringList());
}

void TstCreateDBDlg::passwordForms() {
    QVERIFY(!IsValidEncryptionKey(emProtection, "12345"));
    QVERIFY(IsValidEncryptionKey(emProtection, "123456"));
    QVERIFY(IsValidEncryptionKey(emClassic, "secret;42"));
    QVERIFY(IsValidEncryptionKey(emClassic, "se;cret;0")); // split at the last semicolon
    QVERIFY(!IsValidEncryptionKey(emClassic, "secre;42"));
    QVERIFY(!IsValidEncryptionKey(emClassic, "secret;-1"));
    QVERIFY(!IsValidEncryptionKey(emClassic, "secret;x"));
    QCOMPARE(EncryptionKeyProblem(emProtection, "short"), QStringLiteral("Password must have at least six characters"));
    QVERIFY(EncryptionKeyProblem(emClassic, "secret").contains("semicolon"));
    QCOMPARE(EncryptionKeyProblem(emRijndael, "long enough"), QString());
}

QTEST_MAIN(TstCreateDBDlg)
#include "tst_createdbdlg.moc"
