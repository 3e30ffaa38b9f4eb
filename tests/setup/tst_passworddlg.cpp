// The password request: installed as the engine's handler when the package
// loads, it shows the name asking, masks the entry, and tells the engine to
// retry only when the user pressed "Ok".
#include "../common/modal_helper.h"
#include "engine/ostengine.h"
#include "setup/ostpassworddlg.h"

#include <QLineEdit>
#include <QPushButton>
#include <QtTest>

class TstPasswordDlg : public QObject {
    Q_OBJECT
private slots:
    void engineHandlerAsksThroughTheDialog();
    void cancelLeavesThePasswordAlone();
};

void TstPasswordDlg::engineHandlerAsksThroughTheDialog() {
    QVERIFY(InstalledPasswordRequester());
    const TOstPasswordEvent handler = GetGlobalOnPassword();
    QVERIFY(handler);

    QString seen, focused;
    bool masked = false, readOnly = false;
    WhenShown<TOstPasswordDlg>(
        [&](TOstPasswordDlg* dlg) {
            seen = dlg->TableNameEdit()->text();
            readOnly = dlg->TableNameEdit()->isReadOnly();
            masked = dlg->PasswordEdit()->echoMode() == QLineEdit::Password;
            QTRY_VERIFY(dlg->PasswordEdit()->hasFocus());
            QVERIFY(dlg->PasswordEdit()->text().isEmpty()); // never prefilled
            QTest::keyClicks(dlg->PasswordEdit(), "pass;word;42");
            QTest::mouseClick(dlg->OkButton(), Qt::LeftButton);
        },
        QStringLiteral("Ostra Password"));
    QString password = QStringLiteral("old");
    bool retry = false;
    handler(nullptr, QStringLiteral("Customers"), password, retry);
    QVERIFY(retry);
    QCOMPARE(password, QStringLiteral("pass;word;42"));
    QCOMPARE(seen, QStringLiteral("Customers"));
    QVERIFY(readOnly);
    QVERIFY(masked);
}

void TstPasswordDlg::cancelLeavesThePasswordAlone() {
    WhenShown<TOstPasswordDlg>([](TOstPasswordDlg* dlg) {
        QTest::keyClicks(dlg->PasswordEdit(), "typed but cancelled");
        dlg->reject();
    });
    QString password = QStringLiteral("kept");
    bool retry = true;
    GetGlobalOnPassword()(nullptr, QStringLiteral("Orders"), password, retry);
    QVERIFY(!retry);
    QCOMPARE(password, QStringLiteral("kept"));
}

QTEST_MAIN(TstPasswordDlg)
#include "tst_passworddlg.moc"
