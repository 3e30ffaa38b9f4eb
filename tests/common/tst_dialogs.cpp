// Folder selection, the dialog service with its real Qt dialogs, and the
// scripted service that later dialog tests rely on.
#include "common/ostdialogservice.h"
#include "common/ostscripteddialogs.h"
#include "common/rkdialogs.h"
#include "modal_helper.h"

#include <QDir>
#include <QFileDialog>
#include <QInputDialog>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>

namespace {

QString Canonical(const QString& path) { return QFileInfo(path).canonicalFilePath(); }

// Presses the dialog's accept button (QFileDialog keeps its accept() protected).
void AcceptDialog(QDialog* dialog) { dialog->accept(); }

// A chooser that scribbles on the folder before it reports a cancel.
class TScribblingService : public TScriptedDialogService {
public:
    bool SelectDirectory(QWidget*, const QString&, QString& dir) override {
        dir = QStringLiteral("/half/typed");
        return false;
    }
};

} // namespace

class TstDialogs : public QObject {
    Q_OBJECT
private slots:
    void selectDirectoryThroughTheService_data();
    void selectDirectoryThroughTheService();
    void cancelledChoiceNeverReachesDirectory();
    void scriptedServiceAnswersInOrder();
    void scriptedServiceRejectsWrongScripts();
    void fileDialogNameFilters_data();
    void fileDialogNameFilters();
    void realFolderChooser_data();
    void realFolderChooser();
    void realFileChoosers();
    void choosersWithoutAFolderStartInTheDefaultOne();
    void realMessageBoxAndPrompt();
};

void TstDialogs::selectDirectoryThroughTheService_data() {
    QTest::addColumn<QString>("root");
    QTest::addColumn<bool>("accept");
    QTest::newRow("accepted") << QString() << true;
    QTest::newRow("accepted, root given") << QStringLiteral("/usr") << true;
    QTest::newRow("cancelled") << QString() << false;
    QTest::newRow("cancelled, root given") << QStringLiteral("/usr") << false;
}

void TstDialogs::selectDirectoryThroughTheService() {
    QFETCH(QString, root);
    QFETCH(bool, accept);
    TScriptedDialogService dialogs;
    TScopedDialogService installed(&dialogs);
    if (accept)
        dialogs.ChooseDirectory(QStringLiteral("/data/ostra"));
    else
        dialogs.Cancel();
    QString dir = QStringLiteral("/data/old");

    QCOMPARE(rkSelectDirectory(QStringLiteral("Directory"), root, dir), accept);

    QCOMPARE(dir, accept ? QStringLiteral("/data/ostra") : QStringLiteral("/data/old"));
    QCOMPARE(dialogs.Calls().size(), 1);
    const auto& call = dialogs.Calls().first();
    QCOMPARE(call.Kind, TScriptedDialogService::TCallKind::Directory);
    QCOMPARE(call.Caption, QStringLiteral("Directory"));
    QCOMPARE(call.Value, QStringLiteral("/data/old"));
    QVERIFY(call.Owner.isNull());
}

void TstDialogs::cancelledChoiceNeverReachesDirectory() {
    TScribblingService dialogs;
    TScopedDialogService installed(&dialogs);
    QString dir = QStringLiteral("/data/old");
    QVERIFY(!rkSelectDirectory(QStringLiteral("Private Directory..."), QString(), dir));
    QCOMPARE(dir, QStringLiteral("/data/old"));
}

void TstDialogs::scriptedServiceAnswersInOrder() {
    TScriptedDialogService dialogs;
    TScopedDialogService installed(&dialogs);
    QCOMPARE(&OstDialogs(), &dialogs);
    dialogs.Press(QMessageBox::No).ChooseFile(QStringLiteral("/data/t.dat")).Cancel().EnterText(QStringLiteral("x"));
    QWidget owner;

    QCOMPARE(OstDialogs().MessageBox(&owner, QStringLiteral("Question"), QStringLiteral("Apply?"),
                                     QMessageBox::Question, QMessageBox::Yes | QMessageBox::No),
             int(QMessageBox::No));
    QString file = QStringLiteral("t");
    QVERIFY(OstDialogs().OpenFileName(nullptr, QStringLiteral("Open"), QStringLiteral("All|*"), QStringLiteral("/data"),
                                      file));
    QCOMPARE(file, QStringLiteral("/data/t.dat"));
    QVERIFY(!OstDialogs().SaveFileName(nullptr, QStringLiteral("Save"), QString(), QStringLiteral("ostd"),
                                       QString(), file));
    QCOMPARE(file, QStringLiteral("/data/t.dat"));
    QString text = QStringLiteral("old");
    QVERIFY(OstDialogs().PromptText(nullptr, QStringLiteral("Name"), QStringLiteral("Database name:"), text));
    QCOMPARE(text, QStringLiteral("x"));

    QCOMPARE(dialogs.PendingAnswers(), 0);
    const auto& calls = dialogs.Calls();
    QCOMPARE(calls.size(), 4);
    QCOMPARE(calls[0].Owner.data(), &owner);
    QCOMPARE(calls[0].Text, QStringLiteral("Apply?"));
    QCOMPARE(calls[0].Icon, QMessageBox::Question);
    QCOMPARE(calls[1].InitialDir, QStringLiteral("/data"));
    QCOMPARE(calls[1].Value, QStringLiteral("t"));
    QCOMPARE(calls[2].Kind, TScriptedDialogService::TCallKind::SaveFile);
    QCOMPARE(calls[2].DefaultSuffix, QStringLiteral("ostd"));
    QCOMPARE(calls[3].Text, QStringLiteral("Database name:"));
}

void TstDialogs::scriptedServiceRejectsWrongScripts() {
    TScriptedDialogService dialogs;
    dialogs.ThrowOnFailure();
    QString dir;
    // Nothing scripted.
    QVERIFY_THROWS_EXCEPTION(EScriptedDialog, dialogs.SelectDirectory(nullptr, QStringLiteral("Directory"), dir));
    // A button the box does not offer.
    dialogs.Press(QMessageBox::Yes);
    QVERIFY_THROWS_EXCEPTION(EScriptedDialog, dialogs.MessageBox(nullptr, QStringLiteral("Error"), QStringLiteral("x"),
                                                                 QMessageBox::Critical, QMessageBox::Ok));
    // An answer of the wrong kind stays queued for the dialog it was meant for.
    dialogs.Clear();
    dialogs.ChooseFile(QStringLiteral("/a.ostd"));
    QVERIFY_THROWS_EXCEPTION(EScriptedDialog, dialogs.SelectDirectory(nullptr, QStringLiteral("Directory"), dir));
    QVERIFY_THROWS_EXCEPTION(EScriptedDialog, dialogs.PromptText(nullptr, QStringLiteral("Name"), QString(), dir));
    QCOMPARE(dialogs.PendingAnswers(), 1);
    dialogs.Clear();
    dialogs.Cancel();
    QVERIFY_THROWS_EXCEPTION(EScriptedDialog, dialogs.MessageBox(nullptr, QStringLiteral("Question"), QString(),
                                                                 QMessageBox::Question,
                                                                 QMessageBox::Yes | QMessageBox::No));
    QCOMPARE(dialogs.PendingAnswers(), 1);
    QCOMPARE(dialogs.Calls().size(), 1);
    dialogs.Clear();
}

void TstDialogs::fileDialogNameFilters_data() {
    QTest::addColumn<QString>("filter");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("empty") << QString() << QStringList();
    QTest::newRow("one pair") << QStringLiteral("Ost Database (*.ostd)|*.ostd")
                              << QStringList{QStringLiteral("Ost Database (*.ostd) (*.ostd)")};
    QTest::newRow("several patterns and pairs")
        << QStringLiteral("Ostra Files (*.dat;*.ostd;*.ostt)|*.dat;*.ostd;*.ostt|Ostra Table File (*.dat,*.ostt)|"
                          "*.dat;*.ostt")
        << QStringList{QStringLiteral("Ostra Files (*.dat;*.ostd;*.ostt) (*.dat *.ostd *.ostt)"),
                       QStringLiteral("Ostra Table File (*.dat,*.ostt) (*.dat *.ostt)")};
    QTest::newRow("every file") << QStringLiteral("Database Directory|*")
                                << QStringList{QStringLiteral("Database Directory (*)")};
    QTest::newRow("description without patterns")
        << QStringLiteral("Tables|*.dat|Everything") << QStringList{QStringLiteral("Tables (*.dat)"),
                                                                    QStringLiteral("Everything (*)")};
}

void TstDialogs::fileDialogNameFilters() {
    QFETCH(QString, filter);
    QFETCH(QStringList, expected);
    QCOMPARE(FileDialogNameFilters(filter), expected);
}

void TstDialogs::realFolderChooser_data() {
    QTest::addColumn<bool>("accept");
    QTest::addColumn<bool>("withRoot");
    QTest::newRow("accepted") << true << false;
    QTest::newRow("accepted, root given") << true << true;
    QTest::newRow("cancelled") << false << false;
}

void TstDialogs::realFolderChooser() {
    QFETCH(bool, accept);
    QFETCH(bool, withRoot);
    QTemporaryDir tmp, elsewhere;
    QVERIFY(QDir(tmp.path()).mkpath(QStringLiteral("Data")));
    const QString start = tmp.path();
    const QString chosen = tmp.filePath(QStringLiteral("Data"));
    QString dir = start;

    WhenShown<QFileDialog>(
        [&](QFileDialog* dialog) {
            QCOMPARE(Canonical(dialog->directory().absolutePath()), Canonical(start));
            if (!accept) {
                dialog->reject();
                return;
            }
            dialog->setDirectory(chosen);
            AcceptDialog(dialog);
        },
        QStringLiteral("Select the data folder"));
    const bool result =
        rkSelectDirectory(QStringLiteral("Select the data folder"), withRoot ? elsewhere.path() : QString(), dir);

    QCOMPARE(result, accept);
    QCOMPARE(Canonical(dir), Canonical(accept ? chosen : start));
    QVERIFY(VisibleTopLevel<QFileDialog>() == nullptr);
}

void TstDialogs::realFileChoosers() {
    QTemporaryDir tmp;
    const QString existing = tmp.filePath(QStringLiteral("People.dat"));
    {
        QFile f(existing);
        QVERIFY(f.open(QIODevice::WriteOnly));
    }
    const QString filter = QStringLiteral("Ostra Database File (*.ostd)|*.ostd|Ostra Table File (*.dat,*.ostt)|*.dat;*.ostt");

    QString fileName = QStringLiteral("newdb");
    WhenShown<QFileDialog>(
        [&](QFileDialog* dialog) {
            QCOMPARE(dialog->acceptMode(), QFileDialog::AcceptSave);
            QCOMPARE(dialog->nameFilters(), FileDialogNameFilters(filter));
            QCOMPARE(Canonical(dialog->directory().absolutePath()), Canonical(tmp.path()));
            AcceptDialog(dialog);
        },
        QStringLiteral("Enter a Database File Name"));
    QVERIFY(OstDialogs().SaveFileName(nullptr, QStringLiteral("Enter a Database File Name"), filter,
                                      QStringLiteral("ostd"), tmp.path(), fileName));
    QCOMPARE(fileName, QDir(tmp.path()).absoluteFilePath(QStringLiteral("newdb.ostd")));

    // A full name leads the open chooser to its folder and is chosen as it stands.
    fileName = existing;
    WhenShown<QFileDialog>(
        [&](QFileDialog* dialog) {
            QCOMPARE(dialog->acceptMode(), QFileDialog::AcceptOpen);
            AcceptDialog(dialog);
        },
        QStringLiteral("Select a Ostra Database File"));
    QVERIFY(OstDialogs().OpenFileName(nullptr, QStringLiteral("Select a Ostra Database File"), filter, QString(),
                                      fileName));
    QCOMPARE(Canonical(fileName), Canonical(existing));

    WhenShown<QFileDialog>([](QFileDialog* dialog) { dialog->reject(); });
    QVERIFY(!OstDialogs().OpenFileName(nullptr, QStringLiteral("Open"), filter, tmp.path(), fileName));
    QCOMPARE(Canonical(fileName), Canonical(existing));
}

// The Studio names the module's folder; a chooser given no folder starts
// there, not in the process's working folder. An existing file must exist.
void TstDialogs::choosersWithoutAFolderStartInTheDefaultOne() {
    QTemporaryDir module;
    const QString before = DefaultDialogFolder();
    SetDefaultDialogFolder(module.path());
    QString seen;
    WhenShown<QFileDialog>([&](QFileDialog* d) {
        seen = d->directory().absolutePath();
        d->reject();
    });
    QString dir;
    QVERIFY(!rkSelectDirectory(QStringLiteral("Private Directory..."), QString(), dir));
    QCOMPARE(Canonical(seen), Canonical(module.path()));
    QString file;
    QFileDialog::FileMode mode = QFileDialog::AnyFile;
    WhenShown<QFileDialog>([&](QFileDialog* d) {
        seen = d->directory().absolutePath();
        mode = d->fileMode();
        d->reject();
    });
    QVERIFY(!OstDialogs().OpenExistingFileName(nullptr, QStringLiteral("Select Database"), QString(), QStringLiteral("ostd"),
                                               QString(), file));
    QCOMPARE(Canonical(seen), Canonical(module.path()));
    QCOMPARE(mode, QFileDialog::ExistingFile);
    SetDefaultDialogFolder(before);
}

void TstDialogs::realMessageBoxAndPrompt() {
    QWidget owner;
    owner.setGeometry(100, 100, 400, 300);
    owner.show();
    // Resource texts are shown as written, even when they look like markup.
    const QString text = QStringLiteral("Field <b>Name</b> is invalid");
    WhenShown<QMessageBox>(
        [&](QMessageBox* box) {
            auto* label = box->findChild<QLabel*>(QStringLiteral("qt_msgbox_label"));
            QVERIFY(label);
            QCOMPARE(label->text(), text);
            QCOMPARE(label->textFormat(), Qt::PlainText);
            box->button(QMessageBox::Yes)->click();
        },
        QStringLiteral("Question"));
    QCOMPARE(OstDialogs().MessageBox(&owner, QStringLiteral("Question"), text, QMessageBox::Question,
                                     QMessageBox::Yes | QMessageBox::No),
             int(QMessageBox::Yes));

    QString value = QStringLiteral("Old");
    WhenShown<QInputDialog>(
        [](QInputDialog* dialog) {
            QCOMPARE(dialog->textValue(), QStringLiteral("Old"));
            QCOMPARE(dialog->labelText(), QStringLiteral("Database name:"));
            dialog->setTextValue(QStringLiteral("New"));
            dialog->accept();
        },
        QStringLiteral("Name"));
    QVERIFY(OstDialogs().PromptText(&owner, QStringLiteral("Name"), QStringLiteral("Database name:"), value));
    QCOMPARE(value, QStringLiteral("New"));
    WhenShown<QInputDialog>([](QInputDialog* dialog) {
        dialog->setTextValue(QStringLiteral("Typed"));
        dialog->reject();
    });
    QVERIFY(!OstDialogs().PromptText(&owner, QStringLiteral("Name"), QString(), value));
    QCOMPARE(value, QStringLiteral("New"));
}

QTEST_MAIN(TstDialogs)
#include "tst_dialogs.moc"
