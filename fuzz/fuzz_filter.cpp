// Filters, native expressions and filter literals to SQL (engine/ostfilter.h).
//
// Input: one selector byte, then UTF-8 text. Selector % 4: 0 a filter, 1 a
// filter with CONTAINS allowed, 2 a native expression, 3 a literal (the next
// byte picks the data type). Whatever the translator accepts must compile in
// SQLite against a table with the engine's own DDL, as one statement with
// nothing left over; whatever it refuses must be an EOstraError with a message.
#include "fuzz_helper.h"

#include "engine/ostengine.h"
#include "engine/store/ostcollation.h"
#include "engine/filter/ostfilter.h"
#include "engine/store/ostschema.h"
#include "engine/store/ostvalidate.h"

namespace {

struct Fixture {
    OstTableMeta meta;
    fuzz::Db db;
    Fixture() : db(fuzz::OpenMemory()) {
        struct Col {
            const char* name;
            int type, size;
        };
        const Col cols[] = {{"Id", dtAutoInc, 0},      {"Name", dtString, 40},   {"First Name", dtString, 20},
                            {"Qty", dtInteger, 0},     {"Small", dtSmallInt, 0}, {"Price", dtFloat, 0},
                            {"Day", dtDate, 0},        {"At", dtTime, 0},        {"Stamp", dtDateTime, 0},
                            {"Flag", dtBoolean, 0},    {"Note", dtMemo, 0},      {"Data", dtBlob, 0},
                            {"Kind", dtEnum, 0},       {"G", dtGuid, 0},         {"Big", dtLargeInt, 0},
                            {"W", dtWideString, 30},   {"WM", dtWideMemo, 0},    {"C", dtChar, 5},
                            {"Cnt", dtWord, 0},        {"Name With Space", dtString, 10}};
        int number = 1;
        for (const Col& c : cols) {
            OstColumnMeta m;
            m.name = QString::fromUtf8(c.name);
            m.type = c.type;
            m.size = c.size;
            m.number = number++;
            if (c.type == dtEnum) m.spec = QStringLiteral("red,green,blue");
            meta.columns.append(m);
        }
        meta.name = QStringLiteral("T");
        meta.uid = QStringLiteral("fuzz");
        meta.nextNumber = number;
        OstValidateMeta(meta);
        OstRegisterCollations(db.get());
        sqlite3_create_function_v2(
            db.get(), "ostra_fuzz_contains", 3, SQLITE_UTF8, nullptr,
            [](sqlite3_context* ctx, int, sqlite3_value**) { sqlite3_result_int(ctx, 1); }, nullptr, nullptr, nullptr);
        fuzz::Exec(db.get(), OstCreateTableSql(meta, QStringLiteral("main"), QStringLiteral("\"T\"")));
    }
};

Fixture& F() {
    static Fixture f;
    return f;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    fuzz::Init(argc, argv);
    F();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1 || size > 4096) return -1;
    const int mode = data[0] % 4;
    int literalType = 0;
    if (mode == 3) {
        if (size < 2) return -1;
        literalType = data[1] % 20;
        ++data, --size;
    }
    const QString text = fuzz::Text(data + 1, size - 1);
    Fixture& f = F();
    const OstColumnResolver resolve = OstResolverFor(f.meta);
    QString sql, where;
    try {
        switch (mode) {
        case 0:
            where = OstFilterToSql(text, resolve);
            break;
        case 1:
            where = OstFilterToSql(text, resolve, [](const QString& column, const QString& words, bool any) {
                return QStringLiteral("ostra_fuzz_contains(%1, %2, %3)")
                    .arg(OstQuoteString(column), OstQuoteString(words), any ? QStringLiteral("1") : QStringLiteral("0"));
            });
            break;
        case 2:
            sql = QStringLiteral("SELECT (%1) FROM \"T\"").arg(OstNativeExpressionToSql(text, resolve));
            break;
        case 3:
            // The parser passes the contents of quoted strings, which cannot hold NUL.
            if (text.contains(QChar(0))) return -1;
            if (OstFilterLiteralToSql(text, literalType, sql)) sql = QStringLiteral("SELECT ") + sql;
            else sql.clear();
            break;
        }
    } catch (const EOstraError& e) {
        fuzz::Note(e.Message());
        fuzz::Require(!e.Message().trimmed().isEmpty(), QStringLiteral("an error without a message for: ") + text);
        return 0;
    }
    if (mode <= 1) {
        if (where.isEmpty()) {
            fuzz::Require(text.trimmed().isEmpty(), QStringLiteral("a filter that is not blank translated to nothing: ") + text);
            return 0;
        }
        sql = QStringLiteral("SELECT rowid FROM \"T\" WHERE (%1) ORDER BY rowid").arg(where);
    }
    if (sql.isEmpty()) return 0;
    fuzz::RequireOneStatement(f.db.get(), sql, text);
    return 0;
}
