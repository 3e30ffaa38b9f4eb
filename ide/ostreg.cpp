#include "ide/ostreg.h"

#include "common/ostdialogservice.h"
#include "common/rkdialogs.h"
#include "engine/ostbatchmove.h"
#include "engine/ostdataset.h"
#include "engine/ostextcomps.h"
#include "engine/ostquery.h"
#include "ide/ostqueryeditor.h"
#include "ide/osttableeditor.h"
#include "migration/core/classicdataset.h"
#include "migration/ostclassicprops.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/designintf.h"
#include "studio/designintf/dsdesign.h"

#include <QFileInfo>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>
#include <memory>

namespace {

const QString kPage = QStringLiteral("Ostra");
const QString kSplashCaption = QStringLiteral("Ostra 6");
// The classic datasets over Qt SQL, the sources of a conversion.
const QString kClassicPage = QStringLiteral("Qt SQL");

// A bitmap resource of the package, drawn at the size splash entries use.
std::unique_ptr<QPixmap> LoadBitmapResource(const QString& name) {
    auto bitmap = std::make_unique<QPixmap>(48, 48);
    bitmap->fill(Qt::transparent);
    QSvgRenderer svg(QStringLiteral(":/%1.svg").arg(name));
    QPainter p(bitmap.get());
    svg.render(&p);
    return bitmap;
}

} // namespace

void Register() {
    // 1. The splash entry, when the host shows a splash screen.
    if (SplashScreenServices) {
        const std::unique_ptr<QPixmap> bitmap = LoadBitmapResource(QStringLiteral("RKSPLASH"));
        SplashScreenServices->StatusMessage(kSplashCaption);
        SplashScreenServices->AddPluginBitmap(kSplashCaption, *bitmap, false, QString(), QString());
    }
    // 2. Field classes, so that modules holding persistent fields of them stream.
    RegisterClasses<TOstStringField, TOstWideStringField, TOstBlobField, TOstLargeIntField>();
    // 3. and 4. Tables, then queries with their editor and their SQL.
    RegisterComponents<TOstTable>(kPage);
    RegisterComponents<TOstQuery>(kPage);
    RegisterComponentEditor(&TOstQuery::staticMetaObject, ComponentEditorOf<TOstQueryEditor>());
    RegisterPropertyEditor(ptStrings, &TOstQuery::staticMetaObject, QStringLiteral("SQL"),
                           PropertyEditorOf<TOstSQLBuilderProperty>());
    // 5. The rest of the palette.
    RegisterComponents<TOstDatabase, TOstEnumValueSet, TOstBatchMove, TOstBlobProvider>(kPage);
    // 6. Component editors.
    RegisterComponentEditor(&TOstTable::staticMetaObject, ComponentEditorOf<TOstTableEditor>());
    RegisterComponentEditor(&TOstDatabase::staticMetaObject, ComponentEditorOf<TOstDatabaseEditor>());
    RegisterComponentEditor(&TOstEnumValueSet::staticMetaObject, ComponentEditorOf<TOstEnumSetEditor>());
    RegisterComponentEditor(&TOstBatchMove::staticMetaObject, ComponentEditorOf<TOstBatchMoveEditor>());
    RegisterComponentEditor(&TOstBlobProvider::staticMetaObject, ComponentEditorOf<TOstBlobProviderEditor>());
    // 7. Property editors.
    const int str = QMetaType::QString;
    RegisterPropertyEditor(str, &TOstDatabase::staticMetaObject, QStringLiteral("DatabaseName"),
                           PropertyEditorOf<TOstDatabaseNameProperty>());
    RegisterPropertyEditor(str, &TOstDatabase::staticMetaObject, QStringLiteral("Location"),
                           PropertyEditorOf<TOstDatabaseLocationProperty>());
    RegisterPropertyEditor(str, &TOstDatabase::staticMetaObject, QStringLiteral("PrivateDir"),
                           PropertyEditorOf<TOstDatabasePrivateDirProperty>());
    RegisterPropertyEditor(str, &TOstBatchMove::staticMetaObject, QStringLiteral("FileName"),
                           PropertyEditorOf<TOstBatchMoveFileNameProperty>());
    RegisterPropertyEditor(str, &TOstDataSet::staticMetaObject, QStringLiteral("DatabaseName"),
                           PropertyEditorOf<TOstDataSetDatabaseNameProperty>());
    RegisterPropertyEditor(str, &TOstTable::staticMetaObject, QStringLiteral("TableName"),
                           PropertyEditorOf<TOstTableTableNameProperty>());
    RegisterPropertyEditor(str, &TOstTable::staticMetaObject, QStringLiteral("IndexName"),
                           PropertyEditorOf<TOstTableIndexNameProperty>());
    RegisterPropertyEditor(str, &TOstTable::staticMetaObject, QStringLiteral("FulltextIndexName"),
                           PropertyEditorOf<TOstTableFulltextIndexNameProperty>());
    RegisterPropertyEditor(str, &TOstEnumValueSet::staticMetaObject, QStringLiteral("EnumField"),
                           PropertyEditorOf<TOstEnumFieldProperty>());
    RegisterPropertyEditor(str, &TOstBlobProvider::staticMetaObject, QStringLiteral("FieldName"),
                           PropertyEditorOf<TOstBlobproviderFieldProperty>());
    RegisterPropertyEditor(str, &TOstDataSet::staticMetaObject, QStringLiteral("Filter"),
                           PropertyEditorOf<TOstDataSetFilterProperty>());
    // 8. The classic datasets, on a page of their own.
    RegisterComponents<TTable, TQuery>(kClassicPage);
    RegisterPropertyEditor(str, &TTable::staticMetaObject, QStringLiteral("TableName"),
                           PropertyEditorOf<TClassicTableNameProperty>());
    RegisterPropertyEditor(str, &TTable::staticMetaObject, QStringLiteral("IndexName"),
                           PropertyEditorOf<TClassicIndexNameProperty>());
}

const char* OstraPackageDescription() { return "Ostra 6 design-time package"; }
