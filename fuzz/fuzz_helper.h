// Shared by the fuzz targets: a Qt application object, a private working
// directory, and checks that generated SQL is exactly one statement SQLite
// accepts.
#pragma once

#include <QCoreApplication>
#include <QDir>
#include <QString>
#include <QTemporaryDir>

#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace fuzz {

[[noreturn]] inline void Finding(const QString& what) {
    std::fprintf(stderr, "\n==== FINDING: %s\n", what.toUtf8().constData());
    std::fflush(stderr);
    std::abort();
}

inline void Require(bool ok, const QString& what) {
    if (!ok) Finding(what);
}

// With OSTRA_FUZZ_VERBOSE set, says why an input was refused (to check that
// seeds get as far as they are meant to).
inline void Note(const QString& what) {
    static const bool verbose = qEnvironmentVariableIsSet("OSTRA_FUZZ_VERBOSE");
    if (verbose) std::fprintf(stderr, "refused: %s\n", what.toUtf8().constData());
}

// Creates the application object once.
inline void Init(int* argc, char*** argv) { static QCoreApplication app(*argc, *argv); }

// Moves into a new temporary directory, so that relative paths in the input
// never reach the caller's files. libFuzzer reads its corpus and writes its
// findings after LLVMFuzzerInitialize: give it absolute paths.
inline void EnterWorkingDirectory() {
    static QTemporaryDir dir(QDir::tempPath() + QStringLiteral("/ostra-fuzz-XXXXXX"));
    if (!dir.isValid() || !QDir::setCurrent(dir.path())) Finding(QStringLiteral("cannot make a working directory"));
}

inline QString Text(const uint8_t* data, size_t size) {
    return QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
}

struct DbCloser {
    void operator()(sqlite3* db) const { sqlite3_close(db); }
};
using Db = std::unique_ptr<sqlite3, DbCloser>;

inline Db OpenMemory() {
    sqlite3* db = nullptr;
    if (sqlite3_open(":memory:", &db) != SQLITE_OK) Finding(QStringLiteral("cannot open an in-memory database"));
    return Db(db);
}

inline void Exec(sqlite3* db, const QString& sql) {
    char* err = nullptr;
    if (sqlite3_exec(db, sql.toUtf8().constData(), nullptr, nullptr, &err) != SQLITE_OK) {
        const QString msg = QString::fromUtf8(err ? err : "?");
        sqlite3_free(err);
        Finding(QStringLiteral("SQLite refuses generated SQL: %1\n---- SQL:\n%2").arg(msg, sql));
    }
}

// The text must compile as one statement with nothing left over: anything
// after it would mean that input text escaped from a literal or a name.
inline void RequireOneStatement(sqlite3* db, const QString& sql, const QString& input) {
    const QByteArray utf8 = sql.toUtf8();
    sqlite3_stmt* stmt = nullptr;
    const char* tail = nullptr;
    const int rc = sqlite3_prepare_v2(db, utf8.constData(), int(utf8.size()), &stmt, &tail);
    const QString err = QString::fromUtf8(sqlite3_errmsg(db));
    sqlite3_finalize(stmt);
    if (rc != SQLITE_OK)
        Finding(QStringLiteral("SQLite refuses generated SQL: %1\n---- input:\n%2\n---- SQL:\n%3").arg(err, input, sql));
    if (QString::fromUtf8(tail).trimmed().size() != 0)
        Finding(QStringLiteral("generated SQL has text after its statement\n---- input:\n%1\n---- SQL:\n%2").arg(input, sql));
}

} // namespace fuzz
