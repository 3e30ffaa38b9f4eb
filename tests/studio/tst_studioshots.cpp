// Pictures of the Studio for the documentation, taken only when
// OSTRA_SCREENSHOTS names a folder: a data module on a real database with the
// inspector showing a table, the context menu of that table, the Data view
// on it, and the splash.
#include "studio_helper.h"

#include "common/ostscripteddialogs.h"
#include "engine/ostdataset.h"
#include "engine/ostextcomps.h"
#include "engine/ostquery.h"
#include "engine/base/tdatamodule.h"
#include "studio/designintf/designer.h"
#include "studio/modulecanvas.h"
#include "studio/propertygrid.h"
#include "studio/studiomainwindow.h"
#include "studio/studiosplash.h"

#include <QDir>
#include <QIcon>
#include <QMenu>
#include <QPainter>
#include <QtTest>

class TstStudioShots : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void moduleMenuAndInspector();
    void splash();

private:
    QString m_folder;
};

void TstStudioShots::initTestCase() {
    m_folder = qEnvironmentVariable("OSTRA_SCREENSHOTS");
    if (m_folder.isEmpty()) QSKIP("set OSTRA_SCREENSHOTS to a folder to take the pictures");
    QDir().mkpath(m_folder);
    InitStudioTests();
}

namespace {

// The shop: Customers (indexed by name) and their Orders, with a few rows.
void MakeShop(const QString& location) {
    {
        TOstDatabase db;
        db.SetLocation(location);
        db.SetDatabaseType(dbtSingleFile);
        db.CreateDatabase();
        TOstTable t;
        t.SetDatabaseName(location);
        t.SetTableName("Customers");
        t.GetFieldDefsOst().Add("ID", dtAutoInc, 0)->SetSpec("\"Name\"");
        t.GetFieldDefsOst().Add("Name", dtString, 40);
        t.GetFieldDefsOst().Add("City", dtString, 30);
        t.GetFieldDefsOst().Add("Segment", dtEnum, 0)->SetSpec("retail,wholesale,online");
        t.IndexDefs().Add("ByName", "Name", TIndexOptions());
        t.CreateTable();
        TOstTable o;
        o.SetDatabaseName(location);
        o.SetTableName("Orders");
        o.GetFieldDefsOst().Add("OrderNo", dtAutoInc, 0);
        o.GetFieldDefsOst().Add("Customer", dtLink, 0)->SetSpec("Customers");
        o.GetFieldDefsOst().Add("Amount", dtFloat, 0);
        o.CreateTable();
        t.Open();
        t.AppendRecord({QVariant(), "Ada Lovelace", "London", "retail"});
        t.AppendRecord({QVariant(), "Alan Turing", "Wilmslow", "online"});
        t.AppendRecord({QVariant(), "Grace Hopper", "Arlington", "wholesale"});
        o.Open();
        o.AppendRecord({QVariant(), 1, 120.5});
        o.AppendRecord({QVariant(), 1, 80.0});
        o.AppendRecord({QVariant(), 3, 310.25});
        o.AppendRecord({QVariant(), 2, 42.0});
    }
}

} // namespace

void TstStudioShots::moduleMenuAndInspector() {
    QTemporaryDir dir;
    const QString location = dir.filePath("shop.ostd");
    MakeShop(location);
    TScriptedDialogService dialogs;
    TScopedDialogService scoped(&dialogs);
    TStudioMainWindow w;
    w.resize(1180, 700);
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    IDesigner* d = w.Designer();
    TComponent* root = w.Module();
    d->SetProperty(root, "Name", "Shop");
    TModuleCanvas* canvas = w.Canvas();
    TComponent* db = canvas->PlaceComponent(&TOstDatabase::staticMetaObject, QPoint(32, 32));
    d->SetProperty(db, "Name", "ShopDb");
    d->SetProperty(db, "DatabaseName", "Shop");
    d->SetProperty(db, "DatabaseType", 1);
    d->SetProperty(db, "Location", location);
    d->SetProperty(db, "Connected", true);
    TComponent* customers = canvas->PlaceComponent(&TOstTable::staticMetaObject, QPoint(136, 32));
    d->SetProperty(customers, "Name", "Customers");
    d->SetProperty(customers, "DatabaseName", "Shop");
    d->SetProperty(customers, "TableName", "Customers");
    d->SetProperty(customers, "IndexName", "ByName");
    d->SetProperty(customers, "Active", true);
    TComponent* orders = canvas->PlaceComponent(&TOstTable::staticMetaObject, QPoint(240, 32));
    d->SetProperty(orders, "Name", "Orders");
    d->SetProperty(orders, "DatabaseName", "Shop");
    d->SetProperty(orders, "TableName", "Orders");
    TComponent* source = canvas->PlaceComponent(&TDataSource::staticMetaObject, QPoint(136, 128));
    d->SetProperty(source, "Name", "CustomersSource");
    d->SetProperty(source, "DataSet", "Customers");
    TComponent* segments = canvas->PlaceComponent(&TOstEnumValueSet::staticMetaObject, QPoint(240, 128));
    d->SetProperty(segments, "Name", "Segments");
    d->SetProperty(segments, "DataSource", "CustomersSource");
    d->SetProperty(segments, "EnumField", "Segment");
    TComponent* query = canvas->PlaceComponent(&TOstQuery::staticMetaObject, QPoint(344, 32));
    d->SetProperty(query, "Name", "BigOrders");
    d->SetProperty(query, "DatabaseName", "Shop");
    d->SetProperty(query, "SQL", QStringList{"SELECT * FROM Orders", "WHERE Amount > 100"});
    d->SelectComponent(customers);
    QTest::qWait(50);
    QVERIFY(w.grab().save(m_folder + "/studio-module.png"));
    QVERIFY(w.Inspector()->grab().save(m_folder + "/studio-properties.png"));

    // The table's context menu, laid over the window where it pops up.
    std::unique_ptr<QMenu> menu(canvas->CreateContextMenu(&w));
    const QPoint at = canvas->mapToGlobal(canvas->IconRect(customers).center());
    menu->popup(at);
    QVERIFY(QTest::qWaitForWindowExposed(menu.get()));
    QPixmap picture = w.grab();
    QPainter p(&picture);
    p.drawPixmap(w.mapFromGlobal(menu->pos()), menu->grab());
    p.end();
    menu->hide();
    QVERIFY(picture.save(m_folder + "/studio-context-menu.png"));

    // The Data view on the customers.
    w.ShowData();
    QTest::qWait(50);
    QVERIFY(w.grab().save(m_folder + "/studio-data.png"));
}

void TstStudioShots::splash() {
    TStudioSplash splash;
    TSplashServicesScope scope(&splash);
    splash.show();
    // The package's entry as its Register adds it, from the package's own bitmap.
    SplashScreenServices->StatusMessage("Ostra 6");
    SplashScreenServices->AddPluginBitmap("Ostra 6", QIcon(":/RKSPLASH.svg").pixmap(48, 48));
    QTest::qWait(20);
    QVERIFY(splash.grab().save(m_folder + "/studio-splash.png"));
}

QTEST_MAIN(TstStudioShots)
#include "tst_studioshots.moc"
