// The engine's parts put together (see ostservices_p.h).
#include "engine/ostservices_p.h"

#include "engine/base/tclassregistry.h"
#include "engine/base/tdatamodule.h"
#include "engine/crypt/ostcryptaccess.h"
#include "engine/fulltext/ostfulltext.h"
#include "engine/ostbatchmove.h"
#include "engine/ostdataset.h"
#include "engine/ostextcomps.h"
#include "engine/ostquery.h"

#include <QFileInfo>

#include <mutex>

namespace {

QList<OstCryptDatabase> DatabasesAt(const QString& location) {
    QList<OstCryptDatabase> out;
    for (int i = 0; TOstDatabase* d = GetOstDatabase(i); ++i)
        if (QFileInfo(d->ResolvedLocation()).absoluteFilePath() == location)
            out.append({d, d->GetDatabaseName(), d->GetPassword()});
    return out;
}

// Loading the engine library installs everything.
[[maybe_unused]] const bool installed = (OstInstallEngineServices(), true);

} // namespace

void RegisterEngineClasses() {
    static std::once_flag once;
    std::call_once(once, [] {
        RegisterClasses({ComponentClass<TDataModule>(), ComponentClass<TDataSource>(), ComponentClass<TOstDatabase>(),
                         ComponentClass<TOstTable>(), ComponentClass<TOstQuery>(), ComponentClass<TOstEnumValueSet>(),
                         ComponentClass<TOstBatchMove>(), ComponentClass<TOstBlobProvider>(), ComponentClass<TField>(),
                         ComponentClass<TOstStringField>(), ComponentClass<TOstWideStringField>(),
                         ComponentClass<TOstBlobField>(), ComponentClass<TOstLargeIntField>()});
    });
}

void OstInstallEngineServices() {
    static std::once_flag once;
    std::call_once(once, [] {
        OstCryptInstall();
        OstCryptSetDatabaseLookup(&DatabasesAt);
        OstFulltextInstall();
        AddClassRegistrar(&RegisterEngineClasses);
    });
}
