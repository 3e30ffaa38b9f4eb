// Table definitions as JSON: the form `ostra describe --json` prints and
// `create-table`/`alter` read (cli/tabledef_json.h), and the form the engine
// stores in each table file (OstTableMeta::FromJson), both through the
// engine's rules (OstValidateMeta).
//
// Whatever is refused must be refused with an error (Failure or EOstraError)
// that has a message. What the command line reads must read back the same
// after describing it; stored definitions must keep their form through a
// write and a read. A definition the rules accept must give DDL that SQLite
// compiles, each statement alone with nothing left over.
#include "fuzz_helper.h"

#include "cli/tabledef_json.h"
#include "engine/store/ostcollation.h"
#include "engine/ostdataset.h"
#include "engine/ostengine.h"
#include "engine/ostmetadefs_p.h"
#include "engine/store/ostschema.h"
#include "engine/store/ostvalidate.h"

#include <QJsonDocument>

namespace {

void CheckDdl(OstTableMeta meta, const QString& input, const char* form) {
    if (meta.uid.isEmpty()) meta.uid = QStringLiteral("fuzz");
    if (meta.name.isEmpty()) meta.name = QStringLiteral("T");
    try {
        OstValidateMeta(meta);
    } catch (const EOstraError& e) {
        fuzz::Note(QLatin1String(form) + QStringLiteral(" form, rules: ") + e.Message());
        fuzz::Require(!e.Message().trimmed().isEmpty(), QStringLiteral("a refusal without a message"));
        return;
    }
    QStringList statements;
    try {
        statements << OstCreateTableSql(meta, QStringLiteral("main"), OstQuoteIdent(meta.name));
        statements << OstCreateIndexesSql(meta, QStringLiteral("main"), OstQuoteIdent(meta.name));
    } catch (const EOstraError& e) {
        fuzz::Finding(QStringLiteral("a definition passed the rules but its DDL raised: %1\n---- input:\n%2").arg(e.Message(), input));
    }
    fuzz::Db db = fuzz::OpenMemory();
    OstRegisterCollations(db.get());
    for (const QString& sql : statements) {
        fuzz::RequireOneStatement(db.get(), sql, input);
        fuzz::Exec(db.get(), sql);
    }
}

QString Compact(const QJsonObject& o) { return QString::fromUtf8(QJsonDocument(o).toJson(QJsonDocument::Compact)); }

void CommandLineForm(const QJsonObject& def, const QString& input) {
    TOstTable table;
    try {
        cli::TableDefinitionFromJson(def, table);
    } catch (const Exception& e) {
        fuzz::Note(QStringLiteral("command-line form: ") + e.Message());
        fuzz::Require(!e.Message().trimmed().isEmpty(), QStringLiteral("a refusal without a message"));
        return;
    }
    const QJsonObject described = cli::TableDefinitionToJson(table, QStringLiteral("T"));
    TOstTable again;
    try {
        cli::TableDefinitionFromJson(described, again);
    } catch (const Exception& e) {
        fuzz::Finding(QStringLiteral("the described definition is refused: %1\n---- input:\n%2\n---- described:\n%3")
                          .arg(e.Message(), input, Compact(described)));
    }
    const QJsonObject twice = cli::TableDefinitionToJson(again, QStringLiteral("T"));
    fuzz::Require(twice == described, QStringLiteral("the definition changes when described and read again\n---- first:\n%1\n---- second:\n%2")
                                          .arg(Compact(described), Compact(twice)));

    OstTableMeta meta;
    meta.name = QStringLiteral("T");
    meta.level = table.GetTableLevel();
    meta.capacity = table.GetCapacity();
    meta.collation = table.GetCollationName();
    meta.encryption = table.GetEncryptionMethod();
    OstMetaFromDefs(meta, table.GetFieldDefsOst(), table.IndexDefs(), table.FulltextIndexDefs(), table.GetIntegrityRules(),
                  table.CheckConstraints());
    CheckDdl(meta, input, "command-line");
}

void StoredForm(const QJsonObject& stored, const QString& input) {
    OstTableMeta meta;
    try {
        meta = OstTableMeta::FromJson(stored);
    } catch (const EOstraError& e) {
        // A damaged stored definition is refused with a message, never used.
        fuzz::Require(!e.Message().trimmed().isEmpty(), QStringLiteral("a refusal without a message"));
        return;
    }
    const QJsonObject written = meta.ToJson();
    const QJsonObject again = OstTableMeta::FromJson(written).ToJson();
    fuzz::Require(again == written, QStringLiteral("a stored definition changes when read back\n---- first:\n%1\n---- second:\n%2")
                                        .arg(Compact(written), Compact(again)));
    CheckDdl(meta, input, "stored");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    fuzz::Init(argc, argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 16384) return -1;
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    const QJsonDocument doc = QJsonDocument::fromJson(bytes);
    if (!doc.isObject()) return 0;
    const QString input = QString::fromUtf8(bytes);
    CommandLineForm(doc.object(), input);
    StoredForm(doc.object(), input);
    return 0;
}
