#include "designer/core/ostindexstrings.h"

#include "engine/ostdefs.h"
#include "engine/ostengine.h"
#include "engine/base/tdefs.h"

QString GetIndexDefString(const TIndexDef& def) {
    if (def.Options.testFlag(ixExpression)) return def.Expression.trimmed();
    QStringList fields, desc;
    SplitIntoStringList(fields, def.Fields, u';', true);
    SplitIntoStringList(desc, def.DescFields, u';', true);
    QString result;
    for (const QString& f : fields) {
        if (!result.isEmpty()) result += u';';
        result += (desc.contains(f) ? QStringLiteral(" -") : QStringLiteral(" ")) + f;
    }
    return result.trimmed();
}

QString GetIndexDefString(const TOstFulltextIndexDef& def) {
    QStringList fields;
    SplitIntoStringList(fields, def.Fields, u';', true);
    return fields.join(QStringLiteral("; "));
}

void SplitIntoStringList(QStringList& list, const QString& text, QChar separator, bool clearFirst) {
    if (clearFirst) list.clear();
    int position = 1;
    QString piece;
    while (ExtractPartialString(text, separator, position, piece)) list.append(piece.trimmed());
}

QString JoinStringList(const QStringList& list, QChar separator) { return list.join(separator); }

QString DoubleQuoteStr(const QString& text) { return u'"' + text + u'"'; }

QString DoubleUnQuoteStr(const QString& text) {
    const QString t = text.trimmed();
    if (t.size() >= 2 && t.front() == u'"' && t.back() == u'"') return t.mid(1, t.size() - 2);
    return text;
}

bool IsSystemIndex(const QString& name, bool primary, int tableLevel) {
    Q_UNUSED(tableLevel)
    if (primary) return true;
    const qsizetype dot = name.lastIndexOf(u'.');
    if (dot >= 0 && name.mid(dot).compare(QStringLiteral(".ind"), Qt::CaseInsensitive) != 0) return true;
    const QString upper = name.toUpper();
    return upper.startsWith(QStringLiteral("SYS_")) || upper.startsWith(QStringLiteral("TMP"));
}

bool IsSystemIndex(const TIndexDef& def, int tableLevel) {
    return IsSystemIndex(def.Name, def.Options.testFlag(ixPrimary), tableLevel);
}

bool IsSystemIndex(const TOstFulltextIndexDef& def, int tableLevel) { return IsSystemIndex(def.Name, false, tableLevel); }

void AssignIndexDef(const TIndexDef& source, TIndexDef& dest) {
    dest.Assign(source);
    dest.GroupingLevel = source.GroupingLevel;
    dest.Options = source.Options;
    if (source.Options.testFlag(ixExpression)) {
        dest.Expression = source.Expression;
    } else {
        dest.CaseInsFields = source.CaseInsFields;
        dest.DescFields = source.DescFields;
        dest.Fields = source.Fields;
    }
    dest.Options = source.Options;
}

void AssignIndexDefs(const TIndexDefs& source, TIndexDefs& dest) {
    dest.BeginUpdate();
    dest.Clear();
    for (const TIndexDef* d : source) AssignIndexDef(*d, *dest.Add());
    dest.EndUpdate();
}
