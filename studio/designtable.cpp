#include "studio/designtable.h"

#include "engine/ostdataset.h"
#include "engine/base/tdatamodule.h"
#include "studio/designintf/componenteditor.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/designintf.h"
#include "studio/studioutils.h"

bool DesignTable(const QString& database, const QString& tableName) {
    return RunReported(nullptr, [&] {
        TDataModule root;
        root.SetName(QStringLiteral("Design"));
        TDesigner designer(&root);
        auto* table = qobject_cast<TOstTable*>(designer.CreateComponent(&TOstTable::staticMetaObject, &root, 0, 0, 0, 0));
        table->SetDatabaseName(database);
        table->SetTableName(tableName);
        const bool exists = table->Exists();
        if (exists) table->Open();
        const QString wanted = exists ? QStringLiteral("Properties...") : QStringLiteral("New Table...");
        const std::unique_ptr<TComponentEditor> editor = GetComponentEditor(table, &designer);
        for (int i = 0; i < editor->GetVerbCount(); ++i)
            if (editor->GetVerb(i) == wanted) {
                editor->ExecuteVerb(i);
                return;
            }
        throw EComponentError(QStringLiteral("Tables cannot be designed: the package with the table designer is not loaded"));
    });
}
