// The guard over SQL that users write (TOstQuery, ostra sql). Rows of engine
// tables may be read and written freely, but their structure belongs to the
// engine: DDL on an engine table, writes to the engine's own bookkeeping,
// attaching files and changing the connection's settings are refused with a
// message that names the engine operation to use instead.
#pragma once

#include <QSet>
#include <QString>

class OstConnection;

class OstUserSqlGuard {
public:
    explicit OstUserSqlGuard(OstConnection& c);
    ~OstUserSqlGuard();
    OstUserSqlGuard(const OstUserSqlGuard&) = delete;
    OstUserSqlGuard& operator=(const OstUserSqlGuard&) = delete;

    // Why the last statement was refused; empty when it was not.
    const QString& Refusal() const { return m_refusal; }
    void Clear() { m_refusal.clear(); }

    // Used by the authorizer callback.
    int Authorize(int action, const char* a1, const char* a2, const char* inner);

private:
    bool IsEngineTable(const char* name) const;
    int Refuse(const QString& why);

    OstConnection& m_c;
    QSet<QString> m_tables; // lower-case names of the engine's tables
    QString m_refusal;
};
