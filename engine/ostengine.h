// The Ostra engine's shared vocabulary: its error class, data types, encryption
// methods, foreign-key actions, table-level rules and the free routines.
#pragma once

#include "engine/types/osttypes.h"

#include <QString>
#include <QStringList>
#include <cstdint>
#include <functional>

class QObject;

// Index statistics as OstIndexGetInfo reports them.
struct TOstIndexInfoBlock {
    uint16_t KeySize = 0;
    uint64_t Capacity = 0;
    uint32_t PageSize = 0;
    uint64_t PageCount = 0;
    uint64_t KeyCount = 0;
};

class TOstDatabase;

// ---- free routines
void SetGlobalOnPassword(TOstPasswordEvent handler);
TOstPasswordEvent GetGlobalOnPassword();
// Next piece of a separated list. position is 1-based and advanced past the separator.
bool ExtractPartialString(const QString& s, QChar separator, int& position, QString& piece);
void GetLocaleNames(QStringList& list);
bool rkDirectoryExists(const QString& path);
bool rkIsAbsolutePath(const QString& path);
bool IsRootPath(const QString& path);
TOstDatabase* FindOstDatabase(const QString& name);
TOstDatabase* GetOstDatabase(int i);
uint16_t OstSessFindRltnHdl(quintptr session, const QString& tableName);
int OstIndexGetInfo(uint16_t relation, const QString& indexName, TOstIndexInfoBlock& info);
QString OstEngineVersion();

// Registers the engine's component classes (databases, tables, queries,
// fields, data modules) for streaming. Safe to call any number of times;
// loading a data module does it by itself.
void RegisterEngineClasses();
