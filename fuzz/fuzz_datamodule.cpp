// Data module files (engine/tdatamodule.h): LoadDataModule reads a file into
// a root component, creating tables, databases, queries and fields and setting
// their properties.
//
// A file that cannot be read must raise EComponentError with a message and
// leave the root as it was (no components, its name unchanged). A file that
// loads must save and load again to the same text.
//
// The engine opens what a module names (a database location, SQL of a query).
// So that no input reaches files outside the fuzzer's working directory,
// inputs whose strings hold a path separator, "..", ATTACH or VACUUM are
// skipped, and the working directory is emptied after each input. It holds a
// fresh single-file database "shop.ostd" (table People: ID, Name, Age) for
// every input, so that modules can connect, open tables and run queries.
#include "fuzz_helper.h"

#include "engine/ostdatabase.h"
#include "engine/ostdataset.h"
#include "engine/base/tdatamodule.h"

#include <QDirIterator>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

bool Confined(const QJsonValue& v) {
    if (v.isString()) {
        const QString s = v.toString();
        return !s.contains(u'/') && !s.contains(u'\\') && !s.contains(QStringLiteral("..")) &&
               !s.contains(QStringLiteral("attach"), Qt::CaseInsensitive) &&
               !s.contains(QStringLiteral("vacuum"), Qt::CaseInsensitive);
    }
    if (v.isArray()) {
        for (const QJsonValue& e : v.toArray())
            if (!Confined(e)) return false;
    }
    if (v.isObject()) {
        const QJsonObject o = v.toObject();
        for (auto it = o.begin(); it != o.end(); ++it)
            if (!Confined(it.key()) || !Confined(it.value())) return false;
    }
    return true;
}

const QString kFile = QStringLiteral("module.ostdm");
const QString kShop = QStringLiteral("shop.ostd");

QByteArray MakeShop() {
    {
        TOstDatabase db;
        db.SetDatabaseName(QStringLiteral("FuzzShop"));
        db.SetLocation(QDir::current().absoluteFilePath(kShop));
        db.SetDatabaseType(1);
        db.CreateDatabase();
        TOstTable t;
        t.SetDatabaseName(QStringLiteral("FuzzShop"));
        t.SetTableName(QStringLiteral("People"));
        t.GetFieldDefsOst().Add(QStringLiteral("ID"), dtAutoInc, 0);
        t.GetFieldDefsOst().Add(QStringLiteral("Name"), dtString, 30);
        t.GetFieldDefsOst().Add(QStringLiteral("Age"), dtInteger, 0);
        t.CreateTable();
        t.Open();
        t.AppendRecord({QVariant(), QStringLiteral("Ann"), 31});
        t.AppendRecord({QVariant(), QStringLiteral("Bob"), 45});
        t.Close();
    }
    QFile f(kShop);
    if (!f.open(QIODevice::ReadOnly)) fuzz::Finding(QStringLiteral("cannot read the sample database"));
    return f.readAll();
}

QByteArray& Shop() {
    static QByteArray bytes;
    return bytes;
}

void ResetWorkingDirectory() {
    QDirIterator it(QDir::currentPath(), QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
    while (it.hasNext()) {
        const QFileInfo fi(it.next());
        if (fi.isDir() && !fi.isSymLink()) QDir(fi.filePath()).removeRecursively();
        else QFile::remove(fi.filePath());
    }
    QFile f(kShop);
    if (!f.open(QIODevice::WriteOnly) || f.write(Shop()) != Shop().size()) fuzz::Finding(QStringLiteral("cannot write ") + kShop);
}

QString Saved(const TComponent& root) { return QString::fromUtf8(FormatStreamJson(DataModuleToJson(root))); }

void Load(const QByteArray& bytes, const QString& input) {
    {
        QFile f(kFile);
        if (!f.open(QIODevice::WriteOnly) || f.write(bytes) != bytes.size()) fuzz::Finding(QStringLiteral("cannot write ") + kFile);
    }
    TDataModule root;
    root.SetName(QStringLiteral("Before"));
    try {
        LoadDataModule(kFile, &root);
    } catch (const EComponentError& e) {
        fuzz::Note(e.Message());
        fuzz::Require(!e.Message().trimmed().isEmpty(), QStringLiteral("a refusal without a message"));
        fuzz::Require(root.Components().isEmpty() && root.GetName() == QStringLiteral("Before"),
                      QStringLiteral("a refused file left components or a new name behind: ") + e.Message() +
                          QStringLiteral("\n---- input:\n") + input);
        return;
    }
    QString first;
    try {
        first = Saved(root);
    } catch (const EComponentError& e) {
        fuzz::Finding(QStringLiteral("a loaded module cannot be saved: %1\n---- input:\n%2").arg(e.Message(), input));
    }
    QFile f(kFile);
    if (!f.open(QIODevice::WriteOnly) || f.write(first.toUtf8()) < 0) fuzz::Finding(QStringLiteral("cannot write ") + kFile);
    f.close();
    TDataModule again;
    try {
        LoadDataModule(kFile, &again);
    } catch (const EComponentError& e) {
        fuzz::Finding(QStringLiteral("a saved module does not load: %1\n---- input:\n%2\n---- saved:\n%3").arg(e.Message(), input, first));
    }
    const QString second = Saved(again);
    fuzz::Require(first == second, QStringLiteral("a module changes when saved and loaded again\n---- first:\n%1\n---- second:\n%2").arg(first, second));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    fuzz::Init(argc, argv);
    fuzz::EnterWorkingDirectory();
    Shop() = MakeShop();
    ResetWorkingDirectory();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 16384) return -1;
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    const QJsonDocument doc = QJsonDocument::fromJson(bytes);
    if (!doc.isNull() && !Confined(doc.isArray() ? QJsonValue(doc.array()) : QJsonValue(doc.object()))) return -1;
    Load(bytes, QString::fromUtf8(bytes));
    ResetWorkingDirectory();
    return 0;
}
