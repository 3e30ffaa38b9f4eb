#include "setup/core/ostcreatedbcore.h"

#include "designer/core/osttableprops.h"
#include "engine/ostdatabase.h"
#include "setup/core/ostpaths.h"

namespace {
constexpr int kHighestLevel = 4; // the level from which every method is offered
} // namespace

QStringList CreateDBEncryptionMethods() {
    QStringList methods;
    GetEncryptionMethods(methods, kHighestLevel, false);
    methods.removeAll(GetEncryptionMethodName(emDefault));
    return methods;
}

QString CreateDBLocation(const QString& text, bool singleFile) {
    const QString location = text.trimmed();
    if (singleFile && !location.isEmpty() && ExtractFileExt(location).isEmpty())
        return location + QLatin1Char('.') + QStringLiteral("ostd");
    return location;
}

int CreateDBEncryptionMethod(bool managed, int chosenMethod) { return managed ? chosenMethod : int(emNone); }

QString CreateDBPassword(bool managed, const QString& password) { return managed ? password : QString(); }

QString CreateDBLocationMissing() { return QStringLiteral("Select a location for the new database"); }

QString CreateDBPasswordMissing() { return QStringLiteral("Password missing"); }

QString CreateDBProblem(const QString& locationText, int chosenMethod, const QString& password) {
    if (locationText.trimmed().isEmpty()) return CreateDBLocationMissing();
    if (chosenMethod >= emProtection && password.trimmed().isEmpty()) return CreateDBPasswordMissing();
    return QString();
}

void CreateNewDatabase(TOstDatabase& db, int databaseType, bool managed, int encryptionMethod, const QString& password,
                       const QString& location) {
    // What the component was, for when the engine refuses.
    const int type = db.GetDatabaseType(), method = db.GetEncryptionMethod();
    const bool wasManaged = db.GetManaged(), connected = db.GetConnected();
    const QString oldPassword = db.GetPassword(), oldLocation = db.GetLocation();
    if (connected) db.SetConnected(false);
    try {
        db.SetDatabaseType(databaseType);
        db.SetManaged(managed);
        db.SetEncryptionMethod(encryptionMethod);
        db.SetPassword(password);
        db.SetLocation(location);
        db.CreateDatabase();
        db.SetConnected(true);
    } catch (...) {
        db.SetConnected(false);
        db.SetDatabaseType(type);
        db.SetManaged(wasManaged);
        db.SetEncryptionMethod(method);
        db.SetPassword(oldPassword);
        db.SetLocation(oldLocation);
        try {
            db.SetConnected(connected);
        } catch (...) {
            // it stays disconnected; the error that matters is the first one
        }
        throw;
    }
}
