// TCsvDataSet: CSV parsing, type inference and streamed records.
#include "migration/core/csvdataset.h"

#include <QDateTime>
#include <QRegularExpression>

namespace {

// What the values of a column seen so far allow, narrowest first.
struct Guess {
    bool integer = true, large = true, number = true, boolean = true, date = true, dateTime = true;
    int longest = 0;
    bool any = false;
    void See(const QString& v) {
        if (v.isEmpty()) return;
        any = true;
        longest = qMax(longest, static_cast<int>(v.size()));
        bool ok = false;
        const qlonglong n = v.toLongLong(&ok);
        if (!ok) { integer = large = false; }
        else if (n < INT_MIN || n > INT_MAX) integer = false;
        if (number) { v.toDouble(&ok); number = ok; }
        // "01234" is a code (a zip, a phone number), not a number: its zero would be lost.
        if (v.size() > 1 && v.at(0) == u'0' && v.at(1).isDigit()) integer = large = number = false;
        const QString l = v.toLower();
        if (boolean) boolean = l == u"true" || l == u"false";
        if (date) date = v.size() == 10 && QDate::fromString(v, Qt::ISODate).isValid();
        if (dateTime) dateTime = v.size() >= 16 && QDateTime::fromString(QString(v).replace(u' ', u'T'), Qt::ISODateWithMs).isValid();
    }
    TFieldType Type(int& size) const {
        size = 0;
        if (!any) { size = 255; return ftWideString; }
        if (integer) return ftInteger;
        if (large) return ftLargeint;
        if (number) return ftFloat;
        if (boolean) return ftBoolean;
        if (date) return ftDate;
        if (dateTime) return ftDateTime;
        if (longest <= 255) { size = qMax(longest, 1); return ftWideString; }
        return ftWideMemo;
    }
};

} // namespace

TCsvDataSet::TCsvDataSet(TComponent* owner) : TDataSet(owner) {}
TCsvDataSet::~TCsvDataSet() {
    try { Close(); } catch (...) {}
}

QStringList TCsvDataSet::TypeNames() {
    return {QStringLiteral("integer"), QStringLiteral("smallint"), QStringLiteral("largeint"), QStringLiteral("float"),
            QStringLiteral("currency"), QStringLiteral("boolean"), QStringLiteral("date"), QStringLiteral("time"),
            QStringLiteral("datetime"), QStringLiteral("string"), QStringLiteral("string(N)"), QStringLiteral("memo")};
}

void TCsvDataSet::SetColumnType(const QString& column, const QString& type) {
    static const QRegularExpression sized(QStringLiteral("^string\\((\\d+)\\)$"));
    const QString t = type.trimmed().toLower();
    Override o{ftUnknown, 0};
    if (t == u"integer" || t == u"int") o.type = ftInteger;
    else if (t == u"smallint") o.type = ftSmallint;
    else if (t == u"largeint" || t == u"bigint") o.type = ftLargeint;
    else if (t == u"float" || t == u"double") o.type = ftFloat;
    else if (t == u"currency" || t == u"money") o.type = ftCurrency;
    else if (t == u"boolean" || t == u"bool") o.type = ftBoolean;
    else if (t == u"date") o.type = ftDate;
    else if (t == u"time") o.type = ftTime;
    else if (t == u"datetime") o.type = ftDateTime;
    else if (t == u"string") o.type = ftWideString; // the longest value's length
    else if (t == u"memo" || t == u"text") o.type = ftWideMemo;
    else if (const auto m = sized.match(t); m.hasMatch() && m.captured(1).toInt() > 0) {
        o.type = ftWideString;
        o.size = m.captured(1).toInt();
    } else {
        throw EDatabaseError(QStringLiteral("Unknown column type \"%1\" for \"%2\" (%3)")
                                 .arg(type, column, TypeNames().join(QStringLiteral(", "))));
    }
    m_overrides.insert(column.trimmed().toLower(), o);
}

void TCsvDataSet::Rewind() const {
    m_file = std::make_unique<QFile>(m_fileName);
    if (!m_file->open(QIODevice::ReadOnly))
        throw EDatabaseError(QStringLiteral("Cannot read \"%1\": %2").arg(m_fileName, m_file->errorString()));
    if (m_file->peek(3) == QByteArray("\xEF\xBB\xBF")) m_file->read(3);
    m_pos = -1;
    m_line = 0;
    QStringList header;
    ReadRow(header);
}

bool TCsvDataSet::ReadRow(QStringList& fields) const {
    fields.clear();
    QByteArray line = m_file->readLine();
    if (line.isEmpty()) return false;
    ++m_line;
    QString text = QString::fromUtf8(line);
    QString field;
    bool quoted = false, wasQuoted = false;
    for (int i = 0;; ++i) {
        if (i >= text.size()) {
            if (!quoted) break;
            // A quoted value goes on on the next line.
            line = m_file->readLine();
            if (line.isEmpty())
                throw EDatabaseError(QStringLiteral("\"%1\", line %2: a quoted value is not closed").arg(m_fileName).arg(m_line));
            ++m_line;
            text = QString::fromUtf8(line);
            i = -1;
            continue;
        }
        const QChar c = text.at(i);
        if (quoted) {
            if (c == u'"') {
                if (i + 1 < text.size() && text.at(i + 1) == u'"') { field += u'"'; ++i; }
                else quoted = false;
            } else {
                field += c;
            }
        } else if (c == u'"' && field.isEmpty()) {
            quoted = wasQuoted = true;
        } else if (c == m_delimiter) {
            fields << field;
            field.clear();
            wasQuoted = false;
        } else if (c == u'\n' || c == u'\r') {
            // the line ends
        } else {
            field += c;
        }
    }
    fields << (wasQuoted ? field : field.trimmed());
    return true;
}

void TCsvDataSet::InternalOpen() {
    m_file = std::make_unique<QFile>(m_fileName);
    if (!m_file->open(QIODevice::ReadOnly))
        throw EDatabaseError(QStringLiteral("Cannot read \"%1\": %2").arg(m_fileName, m_file->errorString()));
    if (m_file->peek(3) == QByteArray("\xEF\xBB\xBF")) m_file->read(3);
    m_line = 0;
    QStringList header;
    if (!ReadRow(header) || (header.size() == 1 && header[0].isEmpty()))
        throw EDatabaseError(QStringLiteral("\"%1\" is empty: its first line must name the columns").arg(m_fileName));
    for (const QString& h : header)
        if (h.trimmed().isEmpty()) throw EDatabaseError(QStringLiteral("\"%1\": a column of the first line has no name").arg(m_fileName));
    // One pass: the count and what each column's values allow.
    QVector<Guess> guesses(header.size());
    QStringList row;
    int count = 0;
    while (ReadRow(row)) {
        if (row.size() == 1 && row[0].isEmpty()) continue; // a blank line
        // A line with a wrong number of values is a record that a batch move reports.
        if (row.size() == header.size())
            for (int i = 0; i < row.size(); ++i) guesses[i].See(row[i]);
        ++count;
    }
    FieldDefs().Clear();
    for (int i = 0; i < header.size(); ++i) {
        const QString name = header[i].trimmed();
        int size = 0;
        TFieldType type = guesses[i].Type(size);
        if (auto it = m_overrides.find(name.toLower()); it != m_overrides.end()) {
            type = it->type;
            size = it->size > 0 ? it->size : (type == ftWideString ? qMax(1, guesses[i].longest) : 0);
        }
        FieldDefs().AddFieldDef(name, type, size);
    }
    for (auto it = m_overrides.begin(); it != m_overrides.end(); ++it)
        if (FieldDefs().IndexOf(it.key()) < 0)
            throw EDatabaseError(QStringLiteral("\"%1\" has no column \"%2\"").arg(m_fileName, it.key()));
    m_count = count;
    Rewind();
}

QString TCsvDataSet::RecordProblem() const {
    if (!m_file || RecNo() < 1) return QString();
    if (RecNo() - 1 != m_pos) InternalGetRecord(RecNo() - 1);
    return m_problem;
}

void TCsvDataSet::InternalClose() {
    m_file.reset();
    m_count = 0;
    m_pos = -1;
    m_current.clear();
    m_problem.clear();
}

QVariantList TCsvDataSet::InternalGetRecord(int recNo) const {
    if (!m_file) return {};
    if (recNo == m_pos) return m_current;
    if (recNo < m_pos) Rewind();
    QStringList row;
    while (m_pos < recNo) {
        do {
            if (!ReadRow(row))
                throw EDatabaseError(QStringLiteral("\"%1\" ended after %2 of its %3 records while it was read")
                                         .arg(m_fileName).arg(m_pos + 1).arg(m_count));
        } while (row.size() == 1 && row[0].isEmpty());
        ++m_pos;
    }
    m_current.clear();
    const int n = const_cast<TCsvDataSet*>(this)->FieldDefs().Count();
    m_problem.clear();
    if (row.size() != n)
        m_problem = QStringLiteral("line %1: %2 values, but the first line names %3 columns").arg(m_line).arg(row.size()).arg(n);
    for (int i = 0; i < n; ++i) {
        const QString v = row.value(i);
        m_current << (v.isEmpty() ? QVariant() : QVariant(v));
    }
    return m_current;
}
