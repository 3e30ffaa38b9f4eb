#include "query/core/ostsqlrun.h"

#include "engine/ostquery.h"

#include <QLocale>

TSqlRunPlan PlanSqlRun(TOstQuery& query, const QString& text, int selectionStart, int selectionEnd, int caret) {
    const int size = static_cast<int>(text.size());
    selectionStart = qBound(0, selectionStart, size);
    selectionEnd = qBound(0, selectionEnd, size);
    if (selectionEnd < selectionStart) std::swap(selectionStart, selectionEnd);
    const bool selection = selectionEnd > selectionStart;
    TSqlRunPlan plan;
    plan.Offset = selection ? selectionStart : 0;
    plan.Sql = selection ? text.mid(selectionStart, selectionEnd - selectionStart) : text;
    query.SetSQL(plan.Sql);
    QList<TOstSQLStatement> statements;
    try {
        statements = query.CheckSQL();
    } catch (const EOstraSqlError& e) {
        throw EOstraSqlError(e.Message(), e.Position() < 0 ? -1 : e.Position() + plan.Offset);
    }
    if (statements.isEmpty())
        throw EOstraSqlError(selection ? QStringLiteral("The selection holds no SQL statement")
                                       : QStringLiteral("There is no SQL statement to run"),
                             plan.Offset);
    for (const TOstSQLStatement& s : statements) plan.ChangesData = plan.ChangesData || !s.ReadOnly;
    if (!plan.ChangesData && statements.size() > 1) {
        // The statement the caret is in (or after, between two of them).
        const int at = caret - plan.Offset;
        int pick = 0;
        for (int i = 0; i < statements.size(); ++i)
            if (statements[i].Start <= at) pick = i;
        const TOstSQLStatement& s = statements[pick];
        plan.Offset += s.Start;
        plan.Sql = plan.Sql.mid(s.Start, s.Length);
        plan.Statements = 1;
        plan.ReturnsRows = s.ReturnsRows;
        query.SetSQL(plan.Sql);
        return plan;
    }
    plan.Statements = static_cast<int>(statements.size());
    plan.ReturnsRows = statements.size() == 1 && statements.first().ReturnsRows;
    return plan;
}

QString RowCountText(qint64 rows) {
    return QStringLiteral("%1 %2").arg(QLocale(QLocale::English).toString(rows), rows == 1 ? QStringLiteral("row") : QStringLiteral("rows"));
}

QString DurationText(qint64 nanoseconds) {
    const double ms = nanoseconds / 1e6;
    if (ms < 10) return QStringLiteral("%1 ms").arg(ms, 0, 'f', 1);
    if (ms < 1000) return QStringLiteral("%1 ms").arg(qRound(ms));
    return QStringLiteral("%1 s").arg(ms / 1000, 0, 'f', 2);
}
