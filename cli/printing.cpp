#include "printing.h"

#include "tabledef_json.h"

#include <QLocale>
#include <cmath>

namespace cli {

namespace {

bool IsNumber(const QVariant& v) {
    return v.typeId() == QMetaType::LongLong || v.typeId() == QMetaType::Int || v.typeId() == QMetaType::Double;
}

// Line breaks and tabs would break the alignment of a text table.
QString Visible(QString s) {
    s.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    s.replace(QLatin1Char('\n'), QStringLiteral("\\n"));
    s.replace(QLatin1Char('\r'), QStringLiteral("\\r"));
    s.replace(QLatin1Char('\t'), QStringLiteral("\\t"));
    return s;
}

QString CsvField(const QVariant& v) {
    if (!v.isValid() || v.isNull()) return QString();
    const QString s = FormatValue(v, true);
    const bool quote = s.isEmpty() || s.contains(QLatin1Char(',')) || s.contains(QLatin1Char('"')) ||
                       s.contains(QLatin1Char('\n')) || s.contains(QLatin1Char('\r')) || s.front().isSpace() ||
                       s.back().isSpace();
    if (!quote) return s;
    QString q = s;
    q.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + q + QLatin1Char('"');
}

QString Text(const QString& s) { return s.isEmpty() ? QStringLiteral("-") : Visible(s); }

QString EncryptionName(int m) {
    static const char* const names[] = {"Default", "None", "Protection", "Classic", "FastEncrypt", "Blowfish", "Rijndael"};
    return m >= 0 && m <= emRijndael ? QString::fromLatin1(names[m]) : QStringLiteral("?");
}

void Section(QString& out, const QString& title, const QStringList& header, const QVector<QStringList>& rows,
             const QVector<bool>& right = {}) {
    out += QStringLiteral("\n%1 (%2)\n").arg(title).arg(rows.size());
    if (!rows.isEmpty()) out += TextTable(header, rows, right, QStringLiteral("  "));
}

} // namespace

QString FormatValue(const QVariant& v, bool forCsv) {
    if (!v.isValid() || v.isNull()) return forCsv ? QString() : QStringLiteral("NULL");
    switch (v.typeId()) {
    case QMetaType::Double: {
        const double d = v.toDouble();
        // Whole numbers keep a ".0" so that a real value still reads as one.
        if (std::isfinite(d) && std::floor(d) == d && std::fabs(d) < 1e15)
            return QString::number(static_cast<qint64>(d)) + QStringLiteral(".0");
        return QString::number(d, 'g', QLocale::FloatingPointShortest);
    }
    case QMetaType::QByteArray:
        return QStringLiteral("X'%1'").arg(QString::fromLatin1(v.toByteArray().toHex().toUpper()));
    default:
        return v.toString();
    }
}

QString TextTable(const QStringList& header, const QVector<QStringList>& rows, const QVector<bool>& rightAlign,
                  const QString& indent) {
    QVector<qsizetype> width(header.size());
    for (int c = 0; c < header.size(); ++c) width[c] = header[c].size();
    for (const QStringList& r : rows)
        for (int c = 0; c < header.size() && c < r.size(); ++c) width[c] = qMax(width[c], r[c].size());
    auto line = [&](const QStringList& cells, bool isHeader) {
        QString s = indent;
        for (int c = 0; c < header.size(); ++c) {
            const QString cell = c < cells.size() ? cells[c] : QString();
            const bool right = !isHeader && c < rightAlign.size() && rightAlign[c];
            if (c > 0) s += QStringLiteral(" | ");
            s += right ? cell.rightJustified(width[c]) : (c + 1 < header.size() ? cell.leftJustified(width[c]) : cell);
        }
        while (s.endsWith(QLatin1Char(' '))) s.chop(1);
        return s + QLatin1Char('\n');
    };
    QString out = line(header, true);
    QStringList rules;
    for (int c = 0; c < header.size(); ++c) rules << QString(width[c], QLatin1Char('-'));
    out += indent + rules.join(QStringLiteral("-+-")) + QLatin1Char('\n');
    for (const QStringList& r : rows) out += line(r, false);
    return out;
}

QString ResultAsTable(const ResultSet& r) {
    QVector<bool> right(r.columns.size(), false);
    for (int c = 0; c < r.columns.size(); ++c) {
        bool numeric = false, other = false;
        for (const QVariantList& row : r.rows) {
            const QVariant& v = row.value(c);
            if (!v.isValid() || v.isNull()) continue;
            if (IsNumber(v)) numeric = true;
            else other = true;
        }
        right[c] = numeric && !other;
    }
    QVector<QStringList> cells;
    cells.reserve(r.rows.size());
    for (const QVariantList& row : r.rows) {
        QStringList line;
        for (int c = 0; c < r.columns.size(); ++c) line << Visible(FormatValue(row.value(c), false));
        cells << line;
    }
    return TextTable(r.columns, cells, right) +
           (r.rows.size() == 1 ? QStringLiteral("(1 row)\n") : QStringLiteral("(%1 rows)\n").arg(r.rows.size()));
}

QString ResultAsCsv(const ResultSet& r) {
    QString out;
    QStringList head;
    for (const QString& c : r.columns) head << CsvField(c);
    out += head.join(QLatin1Char(',')) + QLatin1Char('\n');
    for (const QVariantList& row : r.rows) {
        QStringList fields;
        for (int c = 0; c < r.columns.size(); ++c) fields << CsvField(row.value(c));
        out += fields.join(QLatin1Char(',')) + QLatin1Char('\n');
    }
    return out;
}

QString DefinitionSummary(TOstTable& t, const QString& name) {
    QString out = QStringLiteral("Table %1\n").arg(name);
    out += QStringLiteral("  level %1, capacity %2, collation %3, encryption %4 (%5)\n")
               .arg(t.GetTableLevel())
               .arg(t.GetCapacity())
               .arg(t.GetCollationName().isEmpty() ? QStringLiteral("Ostra (default)") : t.GetCollationName())
               .arg(t.GetEncryptionMethod())
               .arg(EncryptionName(t.GetEncryptionMethod()));

    QVector<QStringList> rows;
    for (TOstFieldDef* d : t.GetFieldDefsOst()) {
        QString expr = d->GetCalcExpression();
        if (!expr.isEmpty()) expr = (d->GetInternalCalcField() ? QStringLiteral("calculated: ") : QStringLiteral("default: ")) + expr;
        const int type = d->GetDataTypeOst();
        rows << QStringList{QString::number(d->GetFieldNo()), Visible(d->GetName()), GetDataTypeName(type),
                            IsSizedTextType(type) ? QString::number(d->GetSize()) : QString(),
                            d->GetPrecision() ? QString::number(d->GetPrecision()) : QString(),
                            d->GetNullable() ? QStringLiteral("yes") : QStringLiteral("no"),
                            d->GetIsSpecial() ? QStringLiteral("yes") : QString(), Visible(expr), Visible(d->GetSpec())};
    }
    Section(out, QStringLiteral("Columns"),
            {QStringLiteral("No"), QStringLiteral("Name"), QStringLiteral("Type"), QStringLiteral("Size"),
             QStringLiteral("Precision"), QStringLiteral("Nullable"), QStringLiteral("Special"),
             QStringLiteral("Default / calculation"), QStringLiteral("Spec")},
            rows, {true, false, false, true, true});

    rows.clear();
    for (TIndexDef* d : t.IndexDefs()) {
        const bool expr = d->Options.testFlag(ixExpression);
        rows << QStringList{Visible(d->Name), expr ? QStringLiteral("= ") + Visible(d->Expression) : Visible(d->Fields),
                            Text(d->DescFields), Text(d->CaseInsFields),
                            Text(IndexOptionNames(d->Options.toInt()).join(QStringLiteral(", ")))};
    }
    Section(out, QStringLiteral("Indexes"),
            {QStringLiteral("Name"), QStringLiteral("Fields"), QStringLiteral("Descending"),
             QStringLiteral("Case-insensitive"), QStringLiteral("Options")},
            rows);

    rows.clear();
    for (TOstFulltextIndexDef* d : t.FulltextIndexDefs())
        rows << QStringList{Visible(d->Name), Visible(d->Fields), Text(d->Dictionary), QString::number(d->MinRelevance),
                            d->Separators.isEmpty() ? QStringLiteral("(default)") : Visible(d->Separators)};
    Section(out, QStringLiteral("Fulltext indexes"),
            {QStringLiteral("Name"), QStringLiteral("Fields"), QStringLiteral("Dictionary"),
             QStringLiteral("Min. relevance"), QStringLiteral("Separators")},
            rows, {false, false, false, true});

    rows.clear();
    for (TOstForeignKeyDef* d : t.GetIntegrityRules())
        rows << QStringList{Visible(d->Name), Visible(d->ChildFields), Visible(d->ParentTable), Visible(d->ParentFields),
                            GetForeignKeyActionName(d->UpdateAction), GetForeignKeyActionName(d->DeleteAction)};
    Section(out, QStringLiteral("Foreign keys"),
            {QStringLiteral("Name"), QStringLiteral("Columns"), QStringLiteral("Parent table"),
             QStringLiteral("Parent columns"), QStringLiteral("On update"), QStringLiteral("On delete")},
            rows);

    rows.clear();
    for (TCheckConstraint* d : t.CheckConstraints())
        rows << QStringList{Text(d->Name), Visible(d->Condition()), Text(d->ErrorMessage)};
    Section(out, QStringLiteral("Checks"), {QStringLiteral("Name"), QStringLiteral("Condition"), QStringLiteral("Message")},
            rows);
    return out;
}

ResultSet ReadResultSet(TOstQuery& q) {
    ResultSet r;
    r.columns = q.ColumnNames();
    r.rows.reserve(q.RecordCount());
    for (q.First(); !q.Eof(); q.Next()) {
        QVariantList row;
        row.reserve(r.columns.size());
        for (int i = 0; i < r.columns.size(); ++i) row << q.FieldValue(i);
        r.rows << row;
    }
    q.Close();
    return r;
}

} // namespace cli
