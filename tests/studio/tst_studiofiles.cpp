// The Studio's files: saving a module designed on a real database, opening it
// again and loading it at run time, the question about unsaved changes, files
// that fail to open, and the list of recent files.
#include "studio_helper.h"

#include "common/ostscripteddialogs.h"
#include "engine/ostdatabase.h"
#include "engine/ostdataset.h"
#include "engine/base/tdatamodule.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/dsdesign.h"
#include "studio/modulecanvas.h"
#include "studio/propertygrid.h"
#include "studio/studiomainwindow.h"

#include <QAction>
#include <QMenu>
#include <QtTest>

class TstStudioFiles : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { InitStudioTests(); }
    void init();
    void cleanup();
    void saveReopenAndLoadAtRunTime();
    void unsavedChangesQuestion();
    void failedOpenKeepsModule();
    void recentFiles();

private:
    std::unique_ptr<TScriptedDialogService> m_dialogs;
    std::unique_ptr<TScopedDialogService> m_scope;
};

namespace {

TComponent* PlaceTable(TStudioMainWindow& w, int left = 40) {
    return w.Canvas()->PlaceComponent(&TOstTable::staticMetaObject, QPoint(left, 40));
}

int FieldsEditors() {
    int open = 0;
    for (QWidget* w : QApplication::topLevelWidgets()) open += qobject_cast<TFieldsEditorDialog*>(w) != nullptr;
    return open;
}

void WriteFile(const QString& fileName, const QByteArray& content) {
    QFile f(fileName);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(content);
}

} // namespace

void TstStudioFiles::init() {
    m_dialogs = std::make_unique<TScriptedDialogService>();
    m_scope = std::make_unique<TScopedDialogService>(m_dialogs.get());
}

void TstStudioFiles::cleanup() {
    QCOMPARE(m_dialogs->PendingAnswers(), 0);
    m_scope.reset();
    m_dialogs.reset();
}

void TstStudioFiles::saveReopenAndLoadAtRunTime() {
    TStudioPeopleDb people;
    QTemporaryDir dir;
    const QString file = dir.filePath("People.ostdm");
    {
        TStudioMainWindow w;
        QCOMPARE(w.windowTitle(), QStringLiteral("Ostra Studio - Untitled[*]"));
        TObjectInspector* inspector = w.Inspector();
        w.Canvas()->PlaceComponent(&TOstDatabase::staticMetaObject, QPoint(24, 24));
        QVERIFY(inspector->SetPropertyText("DatabaseName", "FilesPeople"));
        QVERIFY(inspector->SetPropertyText("Location", people.Location()));
        w.Canvas()->PlaceComponent(&TOstTable::staticMetaObject, QPoint(120, 24));
        QVERIFY(inspector->SetPropertyText("Name", "People"));
        QVERIFY(inspector->SetPropertyText("DatabaseName", "FilesPeople"));
        QVERIFY(inspector->SetPropertyText("TableName", "People"));
        QVERIFY(inspector->SetPropertyText("Active", "True"));
        QVERIFY(w.isWindowModified());

        // An untitled module is saved under a chosen name; the suffix comes by itself.
        m_dialogs->ChooseFile(dir.filePath("People"));
        QVERIFY(w.Save());
        const auto& chooser = m_dialogs->Calls().last();
        QCOMPARE(chooser.Filter, QStringLiteral("Ostra data module (*.ostdm)|*.ostdm|All files (*)|*"));
        QCOMPARE(chooser.DefaultSuffix, QStringLiteral("ostdm"));
        QCOMPARE(QFileInfo(chooser.Value).fileName(), QStringLiteral("DataModule1.ostdm")); // the module's name is offered
        QCOMPARE(w.FileName(), file);
        QVERIFY(!w.isWindowModified());
        QVERIFY(!w.Designer()->IsModified());
        QCOMPARE(w.windowTitle(), QStringLiteral("Ostra Studio - People.ostdm[*]"));
        QCOMPARE(TStudioMainWindow::RecentFiles().value(0), file);

        // A new module replaces it without a question: nothing is unsaved.
        QVERIFY(w.NewModule());
        QCOMPARE(w.Module()->GetName(), QStringLiteral("DataModule1"));
        QCOMPARE(w.Module()->ComponentCount(), 0);
        QCOMPARE(w.windowTitle(), QStringLiteral("Ostra Studio - Untitled[*]"));

        QVERIFY(w.OpenModule(file));
        auto* table = qobject_cast<TOstTable*>(w.Module()->FindComponent("People"));
        QVERIFY(table);
        QCOMPARE(table->DesignLeft(), 120);
        QVERIFY(table->Active());
        QCOMPARE(table->RecordCount(), 2);
        QVERIFY(!w.isWindowModified());
        QCOMPARE(w.Canvas()->ShownComponents().size(), 2);
        QVERIFY(!w.findChild<QAction*>("actionUndo")->isEnabled()); // a fresh history

        // Saving again writes to the same file without asking.
        w.Designer()->SetProperty(table, "Tag", 5);
        QVERIFY(w.Save());
        QCOMPARE(m_dialogs->Calls().size(), 1);
    }

    // What the Studio wrote, an application loads at run time.
    TDataModule runtime;
    LoadDataModule(file, &runtime);
    auto* table = qobject_cast<TOstTable*>(runtime.FindComponent("People"));
    QVERIFY(table);
    QVERIFY(table->Active());
    QCOMPARE(table->GetTag(), 5);
    QCOMPARE(table->RecordCount(), 2);
    table->Last();
    QCOMPARE(table->FieldByName("Name")->AsString(), QStringLiteral("Bob"));
    QCOMPARE(table->FieldByName("Age")->AsInteger(), 45);
}

void TstStudioFiles::unsavedChangesQuestion() {
    QTemporaryDir dir;
    TStudioMainWindow w;
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    TDataModule* first = w.Module();
    PlaceTable(w);

    // Cancel keeps everything.
    m_dialogs->Press(QMessageBox::Cancel);
    QVERIFY(!w.NewModule());
    const auto question = m_dialogs->Calls().last();
    QCOMPARE(question.Text, QStringLiteral("Save changes to \"Untitled\"?"));
    QCOMPARE(question.Buttons, QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
    QCOMPARE(w.Module(), first);
    QVERIFY(w.isWindowModified());

    // No discards; the module's fields editor goes with it.
    std::unique_ptr<QMenu> menu(w.Canvas()->CreateContextMenu());
    for (QAction* a : menu->actions())
        if (a->text() == QLatin1String("Fields Editor...")) a->trigger();
    QCOMPARE(FieldsEditors(), 1);
    m_dialogs->Press(QMessageBox::No);
    QVERIFY(w.NewModule());
    QCOMPARE(w.Module()->ComponentCount(), 0);
    QVERIFY(!w.isWindowModified());
    QCOMPARE(FieldsEditors(), 0);

    // Yes on an untitled module asks for a name; cancelling that cancels the lot.
    PlaceTable(w);
    TDataModule* second = w.Module();
    m_dialogs->Press(QMessageBox::Yes).Cancel();
    QVERIFY(!w.NewModule());
    QCOMPARE(w.Module(), second);
    QCOMPARE(w.Module()->ComponentCount(), 1);

    const QString file = dir.filePath("Kept.ostdm");
    m_dialogs->Press(QMessageBox::Yes).ChooseFile(file);
    QVERIFY(w.NewModule());
    QCOMPARE(w.Module()->ComponentCount(), 0);
    TDataModule saved;
    LoadDataModule(file, &saved);
    QCOMPARE(saved.ComponentCount(), 1);

    // Opening asks too, naming the file the module came from.
    QVERIFY(w.OpenModule(file));
    PlaceTable(w, 140);
    m_dialogs->Press(QMessageBox::Cancel);
    QVERIFY(!w.OpenModule(file));
    QCOMPARE(m_dialogs->Calls().last().Text, QStringLiteral("Save changes to \"Kept.ostdm\"?"));
    QCOMPARE(w.Module()->ComponentCount(), 2);

    // Closing the window: Cancel keeps it open, Yes saves to the module's file and closes.
    m_dialogs->Press(QMessageBox::Cancel);
    QVERIFY(!w.close());
    QVERIFY(w.isVisible());
    m_dialogs->Press(QMessageBox::Yes);
    QVERIFY(w.close());
    QVERIFY(!w.isVisible());
    TDataModule reloaded;
    LoadDataModule(file, &reloaded);
    QCOMPARE(reloaded.ComponentCount(), 2);

    // Exit is closing; an unmodified module goes without a question.
    w.show();
    w.findChild<QAction*>("actionExit")->trigger();
    QVERIFY(!w.isVisible());
}

void TstStudioFiles::failedOpenKeepsModule() {
    QTemporaryDir dir;
    TStudioMainWindow w;
    PlaceTable(w);
    const QString good = dir.filePath("Good.ostdm");
    m_dialogs->ChooseFile(good);
    QVERIFY(w.SaveAs());
    TDataModule* module = w.Module();

    // A file that became unreadable: reported, dropped from the recent files, nothing lost.
    WriteFile(good, "{ this is not json");
    m_dialogs->Press(QMessageBox::Ok);
    QVERIFY(!w.OpenModule(good));
    QCOMPARE(m_dialogs->Calls().last().Caption, QStringLiteral("Error"));
    QCOMPARE(m_dialogs->Calls().last().Icon, QMessageBox::Critical);
    QVERIFY2(m_dialogs->Calls().last().Text.contains("Good.ostdm"), qPrintable(m_dialogs->Calls().last().Text));
    QCOMPARE(w.Module(), module);
    QCOMPARE(w.Module()->ComponentCount(), 1);
    QCOMPARE(w.FileName(), good);
    QVERIFY(!TStudioMainWindow::RecentFiles().contains(good));

    // A class nobody registered.
    const QString unknown = dir.filePath("Unknown.ostdm");
    WriteFile(unknown, R"({"format": "ostra-datamodule", "version": 1, "class": "TDataModule", "name": "M",
                           "properties": {}, "components": [{"class": "TNoSuchThing", "name": "X1"}]})");
    m_dialogs->ChooseFile(unknown).Press(QMessageBox::Ok);
    QVERIFY(!w.Open());
    QVERIFY2(m_dialogs->Calls().last().Text.contains("TNoSuchThing"), qPrintable(m_dialogs->Calls().last().Text));
    QCOMPARE(w.Module(), module);

    // Saving where no file can be written.
    m_dialogs->ChooseFile(dir.filePath("no/such/folder/x.ostdm")).Press(QMessageBox::Ok);
    QVERIFY(!w.SaveAs());
    QCOMPARE(m_dialogs->Calls().last().Caption, QStringLiteral("Error"));
    QCOMPARE(w.FileName(), good);
}

void TstStudioFiles::recentFiles() {
    QTemporaryDir dir;
    TStudioMainWindow w;
    QStringList files;
    for (int i = 1; i <= 9; ++i) {
        files.prepend(dir.filePath(QStringLiteral("M%1.ostdm").arg(i)));
        m_dialogs->ChooseFile(files.first());
        QVERIFY(w.SaveAs());
    }
    // The eight most recent, newest first; the same file is listed once.
    QCOMPARE(TStudioMainWindow::RecentFiles(), files.mid(0, 8));
    QVERIFY(w.OpenModule(files[3]));
    QCOMPARE(TStudioMainWindow::RecentFiles().first(), files[3]);
    QCOMPARE(TStudioMainWindow::RecentFiles().count(files[3]), 1);

    // The menu lists them and opens them; the list outlives the window.
    const QList<QAction*> entries = w.RecentMenu()->actions();
    QCOMPARE(entries.size(), 8);
    QCOMPARE(entries[0]->text(), QStringLiteral("&1 M6.ostdm"));
    QCOMPARE(entries[2]->data().toString(), files[1]);
    entries[2]->trigger();
    QTRY_COMPARE(w.FileName(), files[1]);
    TStudioMainWindow later;
    QCOMPARE(later.RecentMenu()->actions().first()->data().toString(), files[1]);

    // A listed file that has gone is reported and leaves the list.
    QFile::remove(files[5]);
    m_dialogs->Press(QMessageBox::Ok);
    const int index = TStudioMainWindow::RecentFiles().indexOf(files[5]);
    later.RecentMenu()->actions().at(index)->trigger();
    QTRY_VERIFY(!TStudioMainWindow::RecentFiles().contains(files[5]));
    QCOMPARE(later.RecentMenu()->actions().size(), 7);
}

QTEST_MAIN(TstStudioFiles)
#include "tst_studiofiles.moc"
