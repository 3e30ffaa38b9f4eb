#include "ide/osttableeditor.h"

#include "common/ostdialogservice.h"
#include "common/rkdialogs.h"
#include "designer/osttabledesigner.h"
#include "engine/ostdataset.h"
#include "migration/core/classicdataset.h"
#include "migration/ostpropertyimportform.h"
#include "setup/core/ostcreatedbcore.h"
#include "setup/core/ostpaths.h"
#include "setup/core/ostselectdbcore.h"
#include "setup/ostcreatedbdlg.h"
#include "setup/ostcreatetabledlg.h"
#include "setup/ostselectdbdlg.h"
#include "studio/designintf/designer.h"

#include <QAction>
#include <QApplication>
#include <QFileInfo>
#include <QLineEdit>
#include <QGuiApplication>
#include <QScreen>

namespace {

enum TOwnVerb { ovSeparator, ovNewTable, ovSelectTable, ovProperties, ovConvertBde, ovCount };

// PrepareItem decides the enabled state itself up to this own index.
constexpr int kLastPreparedVerb = 6;

QString OwnVerb(int index) {
    switch (index) {
    case ovSeparator:
        return QStringLiteral("-");
    case ovNewTable:
        return QStringLiteral("New Table...");
    case ovSelectTable:
        return QStringLiteral("Select Table...");
    case ovProperties:
        return QStringLiteral("Properties...");
    case ovConvertBde:
        return QStringLiteral("Convert BDE Table...");
    default:
        return QString();
    }
}

// A plain message box, as the environment shows one.
void ShowMessage(const QString& text) {
    OstDialogs().MessageBox(nullptr, QApplication::applicationDisplayName(), text, QMessageBox::NoIcon,
                            QMessageBox::Ok);
}

// The name with its last extension replaced by nothing.
QString WithoutExtension(const QString& name) {
    const qsizetype dot = name.lastIndexOf(u'.');
    const qsizetype folder = qMax(name.lastIndexOf(u'/'), name.lastIndexOf(u'\\'));
    return dot > folder ? name.left(dot) : name;
}

// Whether the component is a classic table (of Qt SQL), the source a conversion reads.
bool IsBdeTable(const TComponent* c) { return qobject_cast<const TTable*>(c) != nullptr; }

void CenterOnScreen(QWidget* w) {
    QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen) return;
    QRect r(QPoint(), w->size());
    r.moveCenter(screen->availableGeometry().center());
    w->move(r.topLeft());
}

// "OstDatabase1", or with a number added when a database already has that name.
QString FreeDatabaseName(const QString& componentName) {
    QString name = componentName;
    for (int n = 2; FindOstDatabase(name); ++n) name = componentName + QStringLiteral("_%1").arg(n);
    return name;
}

// A database that tables are to find needs a name: without one it takes its component's.
void NameUnnamedDatabase(TOstDatabase* db) {
    if (!db->GetDatabaseName().trimmed().isEmpty()) return;
    const bool connected = db->GetConnected();
    db->SetConnected(false);
    db->SetDatabaseName(FreeDatabaseName(db->GetName()));
    db->SetConnected(connected);
}

enum TDatabaseVerb { dvCreate, dvSelect, dvPrivateDir, dvCount };

// Tells the designer of the change on every way out of a verb.
class TModifiedOnExit {
public:
    explicit TModifiedOnExit(IDesigner* designer) : m_designer(designer) {}
    ~TModifiedOnExit() {
        if (m_designer) m_designer->Modified();
    }

private:
    IDesigner* m_designer;
};

} // namespace

TOstTable* TOstTableEditor::Table() const {
    return qobject_cast<TOstTable*>(Component());
}

TOstDatabase* TOstDatabaseEditor::Database() const {
    return qobject_cast<TOstDatabase*>(Component());
}

int TOstTableEditor::GetVerbCount() const {
    return TDataSetEditor::GetVerbCount() + ovCount;
}

QString TOstTableEditor::GetVerb(int index) const {
    const int own = index - TDataSetEditor::GetVerbCount();
    if (own < 0) return TDataSetEditor::GetVerb(index);
    if (own >= ovCount) BadVerb(index);
    return OwnVerb(own);
}

void TOstTableEditor::ExecuteVerb(int index) {
    const int own = index - TDataSetEditor::GetVerbCount();
    if (own >= ovCount) BadVerb(index);
    TModifiedOnExit modified(Designer());
    switch (own) {
    case ovSeparator:
        break;
    case ovNewTable:
        CreateNewTable();
        break;
    case ovSelectTable:
        SelectTable();
        break;
    case ovProperties:
        RestructureTable(false);
        break;
    case ovConvertBde:
        ImportTableProperties();
        break;
    default:
        TDataSetEditor::ExecuteVerb(index);
        break;
    }
}

void TOstTableEditor::PrepareItem(int index, QAction* action) {
    const int own = index - TDataSetEditor::GetVerbCount();
    if (own <= kLastPreparedVerb)
        action->setEnabled(CanEnableMenuItem(own));
    else
        TDataSetEditor::PrepareItem(index, action);
}

bool TOstTableEditor::CanEnableMenuItem(int index) const {
    TOstTable* table = Table();
    switch (index) {
    case ovProperties:
        return table && table->Active();
    case ovConvertBde: {
        bool found = false;
        if (table && table->Owner())
            for (const TComponent* c : table->Owner()->Components())
                if (IsBdeTable(c)) found = true;
        return found;
    }
    default:
        return true;
    }
}

namespace {

// The assistant's answer in the table: a database component's name, or for
// a bare location the name GetNewDatabaseConnection returns, shortened.
void TakeAssistantAnswer(TOstTable* table, IDesigner* designer, const TTableAssistantDlg& assistant) {
    TOstDatabase* db = assistant.ResultDatabase();
    if (db && db->GetDatabaseName() != PlaceholderDatabaseName()) {
        table->SetDatabaseName(db->GetDatabaseName());
        table->SetTableName(assistant.ResultTableName());
        return;
    }
    const QString location = db ? db->GetLocation() : QString();
    table->SetDatabaseName(GetNewDatabaseConnection(table, designer, location));
    table->SetTableName(assistant.ResultTableName());
    AdjustTableName(table);
}

} // namespace

void TOstTableEditor::CreateNewTable() {
    TOstTable* table = Table();
    if (!table) return;
    if (table->Active()) table->Close();
    TTableAssistantDlg assistant;
    CenterOnScreen(&assistant);
    assistant.SetDialogType(dtNewTable);
    assistant.SetOstTable(table);
    if (assistant.exec() != QDialog::Accepted) return;
    TakeAssistantAnswer(table, Designer(), assistant);
    table->SetTableName(WithoutExtension(table->GetTableName()));
    table->GetFieldDefsOst().Clear();
    m_replaceExisting = assistant.OverwriteConfirmed();
    const bool created = RestructureTable(true);
    m_replaceExisting = false;
    if (created) table->Open();
}

void TOstTableEditor::SelectTable() {
    TOstTable* table = Table();
    if (!table) return;
    TTableAssistantDlg assistant;
    CenterOnScreen(&assistant);
    assistant.SetDialogType(dtSelectTable);
    assistant.SetOstTable(table);
    if (assistant.exec() != QDialog::Accepted) return;
    try {
        if (table->Active()) table->Close();
        TakeAssistantAnswer(table, Designer(), assistant);
        table->Open();
    } catch (const Exception& e) {
        ShowMessage(e.Message());
    }
}

bool TOstTableEditor::RestructureTable(bool newTable) {
    TOstTable* table = Table();
    const bool mayOpen = table && ((newTable && !table->GetTableName().isEmpty()) || table->Active());
    if (!mayOpen) {
        ShowMessage(QStringLiteral("Cannot perform this on a closed table"));
        return false;
    }
    TOstTableDesigner designer;
    designer.SetNewTable(newTable);
    designer.SetReplaceExisting(newTable && m_replaceExisting);
    designer.SetOstDataset(table);
    CenterOnScreen(&designer);
    return designer.exec() == QDialog::Accepted;
}

void TOstTableEditor::ImportTableProperties() {
    TPropertyImportBrownieForm wizard;
    wizard.SetTable(Table());
    CenterOnScreen(&wizard);
    wizard.exec();
}

// ---------------------------------------------------------------- a database for a location

QString GetNewDatabaseConnection(TOstDataSet* dataSet, IDesigner* designer, const QString& location) {
    const int answer = OstDialogs().MessageBox(nullptr, QStringLiteral("Confirm"),
                                               QStringLiteral("Do you want a database component to be created for this location?"),
                                               QMessageBox::Question, QMessageBox::Yes | QMessageBox::No);
    if (answer != QMessageBox::Yes || !designer) return location;
    const int left = dataSet->DesignLeft(), top = dataSet->DesignTop();
    TComponent* created = designer->CreateComponent(&TOstDatabase::staticMetaObject, dataSet->Owner(), left + 32, top, 1, 1);
    designer->SelectComponent(dataSet);
    auto* db = qobject_cast<TOstDatabase*>(created);
    // A database component names itself after the component.
    if (db->GetDatabaseName().isEmpty())
        designer->SetProperty(db, QStringLiteral("DatabaseName"), FreeDatabaseName(db->GetName()));
    const QFileInfo where(location);
    const bool file = where.isFile() || (!where.isDir() && GetFileType(location) == 1);
    designer->SetProperty(db, QStringLiteral("DatabaseType"), file ? int(dbtSingleFile) : int(dbtDirectory));
    designer->SetProperty(db, QStringLiteral("Location"), location);
    designer->SetProperty(db, QStringLiteral("Connected"), true);
    const QString name = db->GetDatabaseName();
    designer->Modified();
    return name;
}

// ---------------------------------------------------------------- database editor

int TOstDatabaseEditor::GetVerbCount() const { return TComponentEditor::GetVerbCount() + dvCount; }

QString TOstDatabaseEditor::GetVerb(int index) const {
    const int own = index - TComponentEditor::GetVerbCount();
    if (own < 0) return TComponentEditor::GetVerb(index);
    switch (own) {
    case dvCreate:
        return QStringLiteral("Create New Database...");
    case dvSelect:
        return QStringLiteral("Select Database...");
    case dvPrivateDir:
        return QStringLiteral("Private Directory...");
    default:
        BadVerb(index);
    }
}

void TOstDatabaseEditor::ExecuteVerb(int index) {
    const int own = index - TComponentEditor::GetVerbCount();
    if (own >= dvCount) BadVerb(index);
    TModifiedOnExit modified(Designer());
    switch (own) {
    case dvCreate:
        CreateOstraDatabase();
        break;
    case dvSelect:
        SelectOstraDatabase();
        break;
    case dvPrivateDir:
        SelectPrivateDir();
        break;
    default:
        TComponentEditor::ExecuteVerb(index);
        break;
    }
}

void TOstDatabaseEditor::CreateOstraDatabase() {
    TOstDatabase* db = Database();
    if (!db) return;
    TCreateDBDialog dialog;
    dialog.SetSaveDialogDefaults(QStringLiteral("ostd"), QStringLiteral("Ost Database (*.ostd)|*.ostd"));
    dialog.LocationEdit()->setText(db->GetLocation());
    CenterOnScreen(&dialog);
    if (dialog.exec() != QDialog::Accepted) return;
    CreateNewDatabase(*db, dialog.GetDatabaseType(), dialog.GetManagementLevel(), dialog.GetEncryptionMethod(),
                      dialog.GetPassword(), dialog.GetLocation());
    NameUnnamedDatabase(db);
}

void TOstDatabaseEditor::SelectOstraDatabase() {
    TOstDatabase* db = Database();
    if (!db) return;
    QString location;
    const QString current = db->GetLocation();
    SelectDatabase(QFileInfo(current).isFile() ? QFileInfo(current).absolutePath() : current, location);
    if (location.isEmpty() ||
        ExcludeTrailingPathDelimiter(location).compare(ExcludeTrailingPathDelimiter(current), Qt::CaseInsensitive) == 0)
        return;
    const bool connected = db->GetConnected();
    db->SetConnected(false);
    db->SetLocation(location);
    db->SetDatabaseType(QFileInfo(location).isDir() ? dbtDirectory : dbtSingleFile);
    db->SetConnected(connected);
    NameUnnamedDatabase(db);
}

void TOstDatabaseEditor::SelectPrivateDir() {
    TOstDatabase* db = Database();
    if (!db) return;
    QString dir;
    if (rkSelectDirectory(QStringLiteral("Private Directory..."), QString(), dir)) db->SetPrivateDir(dir);
}
