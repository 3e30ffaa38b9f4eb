// Stored definitions of a table as JSON, and index field lists.
#include "engine/store/ostmeta.h"

#include <QJsonArray>

static QJsonArray toArray(const QStringList& l) { return QJsonArray::fromStringList(l); }

QJsonObject OstTableMeta::ToJson() const {
    QJsonObject o;
    o["name"] = name;
    o["uid"] = uid;
    o["level"] = level;
    o["capacity"] = capacity;
    o["collation"] = collation;
    o["encryption"] = encryption;
    o["system"] = system;
    o["nextNumber"] = nextNumber;
    o["icuVersion"] = icuVersion;
    QJsonArray cols;
    for (const auto& c : columns)
        cols.append(QJsonObject{{"name", c.name}, {"type", c.type}, {"size", c.size}, {"precision", c.precision},
                                {"nullable", c.nullable}, {"special", c.special}, {"calculated", c.internalCalc},
                                {"expression", c.expression}, {"spec", c.spec}, {"number", c.number}});
    o["columns"] = cols;
    QJsonArray idx;
    for (const auto& i : indexes) {
        QJsonObject ix{{"name", i.name}, {"fields", i.fields}, {"descFields", i.descFields},
                       {"caseInsFields", i.caseInsFields}, {"expression", i.expression},
                       {"groupingLevel", i.groupingLevel}, {"options", i.options}};
        if (i.capacity != 0) ix["capacity"] = i.capacity;
        idx.append(ix);
    }
    o["indexes"] = idx;
    QJsonArray ft;
    for (const auto& f : fulltext)
        ft.append(QJsonObject{{"name", f.name}, {"fields", f.fields}, {"dictionary", f.dictionary},
                              {"separators", f.separators}, {"minRelevance", f.minRelevance},
                              {"options", f.options}});
    o["fulltext"] = ft;
    QJsonArray fk;
    for (const auto& f : foreignKeys)
        fk.append(QJsonObject{{"name", f.name}, {"parentTable", f.parentTable}, {"childFields", f.childFields},
                              {"parentFields", f.parentFields}, {"onUpdate", f.onUpdate}, {"onDelete", f.onDelete}});
    o["foreignKeys"] = fk;
    QJsonArray ck;
    for (const auto& c : checks)
        ck.append(QJsonObject{{"name", c.name}, {"condition", c.condition}, {"custom", c.custom}, {"message", c.message}});
    o["checks"] = ck;
    Q_UNUSED(toArray)
    return o;
}

OstTableMeta OstTableMeta::FromJson(const QJsonObject& o) {
    OstTableMeta m;
    m.name = o["name"].toString();
    m.uid = o["uid"].toString();
    // The storage id names the table's indexes in SQL: letters and digits only.
    for (const QChar ch : m.uid)
        if (ch.unicode() > 127 || !ch.isLetterOrNumber())
            throw EOstraError(OstErr::InvalidDefinition,
                              QStringLiteral("The stored definition of table \"%1\" is damaged: its storage id is not valid")
                                  .arg(m.name.left(64)));
    m.level = o["level"].toInt(OstDefaultTableLevel);
    m.capacity = o["capacity"].toInt(100000);
    m.collation = o["collation"].toString();
    m.encryption = o["encryption"].toInt(emDefault);
    m.system = o["system"].toBool();
    m.nextNumber = o["nextNumber"].toInt(1);
    m.icuVersion = o["icuVersion"].toString();
    for (const auto& v : o["columns"].toArray()) {
        const QJsonObject c = v.toObject();
        OstColumnMeta cm;
        cm.name = c["name"].toString();
        cm.type = c["type"].toInt();
        cm.size = c["size"].toInt();
        cm.precision = c["precision"].toInt();
        cm.nullable = c["nullable"].toBool(true);
        cm.special = c["special"].toBool();
        cm.internalCalc = c["calculated"].toBool();
        cm.expression = c["expression"].toString();
        cm.spec = c["spec"].toString();
        cm.number = c["number"].toInt();
        m.columns.append(cm);
    }
    for (const auto& v : o["indexes"].toArray()) {
        const QJsonObject c = v.toObject();
        m.indexes.append({c["name"].toString(), c["fields"].toString(), c["descFields"].toString(),
                          c["caseInsFields"].toString(), c["expression"].toString(), c["groupingLevel"].toInt(),
                          c["options"].toInt(), c["capacity"].toInt()});
    }
    for (const auto& v : o["fulltext"].toArray()) {
        const QJsonObject c = v.toObject();
        m.fulltext.append({c["name"].toString(), c["fields"].toString(), c["dictionary"].toString(),
                           c["separators"].toString(), c["minRelevance"].toInt(), c["options"].toInt()});
    }
    for (const auto& v : o["foreignKeys"].toArray()) {
        const QJsonObject c = v.toObject();
        m.foreignKeys.append({c["name"].toString(), c["parentTable"].toString(), c["childFields"].toString(),
                              c["parentFields"].toString(), c["onUpdate"].toInt(), c["onDelete"].toInt()});
    }
    for (const auto& v : o["checks"].toArray()) {
        const QJsonObject c = v.toObject();
        m.checks.append({c["name"].toString(), c["condition"].toString(), c["custom"].toString(),
                         c["message"].toString()});
    }
    return m;
}

const OstColumnMeta* OstTableMeta::Column(const QString& n) const {
    const int i = ColumnIndex(n);
    return i < 0 ? nullptr : &columns[i];
}

int OstTableMeta::ColumnIndex(const QString& n) const {
    for (int i = 0; i < columns.size(); ++i)
        if (columns[i].name.compare(n, Qt::CaseInsensitive) == 0) return i;
    return -1;
}

QStringList OstSplitFields(const QString& text) {
    QStringList out;
    for (const QString& p : text.split(QLatin1Char(';'))) {
        const QString t = p.trimmed();
        if (!t.isEmpty()) out.append(t);
    }
    return out;
}

bool OstParseFieldEntry(const QString& entry, QString& column, int& length) {
    length = 0;
    QString e = entry.trimmed();
    if (e.size() >= 2 && e.startsWith(QLatin1Char('"')) && e.endsWith(QLatin1Char('"'))) e = e.mid(1, e.size() - 2);
    const int colon = e.lastIndexOf(QLatin1Char(':'));
    if (colon >= 0) {
        bool ok = false;
        length = e.mid(colon + 1).trimmed().toInt(&ok);
        if (!ok || length <= 0) return false;
        e = e.left(colon).trimmed();
    }
    column = e;
    return !column.isEmpty();
}
