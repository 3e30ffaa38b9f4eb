#include "tabledef_json.h"

#include "cli.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>
#include <cmath>
#include <climits>

namespace cli {

namespace {

const struct {
    const char* name;
    int flag;
} IndexOptionTable[] = {
    {"primary", ixPrimary},         {"unique", ixUnique},         {"descending", ixDescending},
    {"caseInsensitive", ixCaseInsensitive}, {"expression", ixExpression}, {"nonMaintained", ixNonMaintained},
};

QString JsonScalar(const QJsonValue& v) {
    // A one-element array lets QJsonDocument do the escaping.
    return QString::fromUtf8(QJsonDocument(QJsonArray{v}).toJson(QJsonDocument::Compact)).mid(1).chopped(1);
}

// Reads the members of one JSON object, checking their JSON types; Finish()
// rejects members that were never asked for, so that a misspelt key is not
// silently ignored.
class ObjectReader {
public:
    ObjectReader(const QJsonObject& o, QString where) : m_o(o), m_where(std::move(where)) {}

    bool Contains(const char* key) const { return m_o.contains(QLatin1String(key)); }

    QJsonValue Raw(const char* key) {
        m_used.insert(QLatin1String(key));
        return m_o.value(QLatin1String(key));
    }
    QString Str(const char* key, const QString& def = QString()) {
        const QJsonValue v = Raw(key);
        if (v.isUndefined() || v.isNull()) return def;
        if (!v.isString()) Fail(key, QStringLiteral("expected a string"));
        return v.toString();
    }
    int Int(const char* key, int def) {
        const QJsonValue v = Raw(key);
        if (v.isUndefined() || v.isNull()) return def;
        return ToInt(v, key);
    }
    bool Bool(const char* key, bool def) {
        const QJsonValue v = Raw(key);
        if (v.isUndefined() || v.isNull()) return def;
        if (!v.isBool()) Fail(key, QStringLiteral("expected true or false"));
        return v.toBool();
    }
    QJsonArray Array(const char* key) {
        const QJsonValue v = Raw(key);
        if (v.isUndefined() || v.isNull()) return {};
        if (!v.isArray()) Fail(key, QStringLiteral("expected an array"));
        return v.toArray();
    }
    int ToInt(const QJsonValue& v, const char* key) {
        const double d = v.toDouble();
        if (!v.isDouble() || std::floor(d) != d || d < INT_MIN || d > INT_MAX)
            Fail(key, QStringLiteral("expected a whole number"));
        return static_cast<int>(d);
    }
    void Finish() const {
        for (auto it = m_o.begin(); it != m_o.end(); ++it)
            if (!m_used.contains(it.key()))
                throw Failure(QStringLiteral("%1: unknown key \"%2\"").arg(m_where, it.key()));
    }
    [[noreturn]] void Fail(const char* key, const QString& what) const {
        throw Failure(QStringLiteral("%1: \"%2\": %3").arg(m_where, QLatin1String(key), what));
    }
    const QString& Where() const { return m_where; }

private:
    QJsonObject m_o;
    QString m_where;
    QSet<QString> m_used;
};

// Where an array element sits, for messages: columns[2] ("Name").
QString ElementWhere(const char* array, int i, const QJsonValue& element) {
    QString w = QStringLiteral("%1[%2]").arg(QLatin1String(array)).arg(i);
    const QString name = element.toObject().value(QStringLiteral("name")).toString();
    if (!name.isEmpty()) w += QStringLiteral(" (\"%1\")").arg(name);
    return w;
}

QJsonObject ElementObject(const QJsonValue& v, const QString& where) {
    if (!v.isObject()) throw Failure(QStringLiteral("%1: expected an object").arg(where));
    return v.toObject();
}

int ParseDataType(ObjectReader& r) {
    // "type" wins; "typeName" (which describe prints next to it) is only used when "type" is absent.
    const char* key = r.Contains("type") ? "type" : "typeName";
    QJsonValue v = r.Raw("type");
    if (v.isUndefined() || v.isNull()) v = r.Raw("typeName");
    else r.Raw("typeName");
    if (v.isUndefined() || v.isNull()) r.Fail("type", QStringLiteral("missing"));
    if (v.isString()) {
        const int t = GetDataTypeFromDisplayName(v.toString());
        if (t < 0) r.Fail(key, QStringLiteral("unknown data type \"%1\"").arg(v.toString()));
        return t;
    }
    const int t = r.ToInt(v, key);
    if (t < 0 || t >= OstDataTypeCount)
        r.Fail(key, QStringLiteral("unknown data type %1 (0 to %2)").arg(t).arg(OstDataTypeCount - 1));
    return t;
}

int ParseIndexOptions(ObjectReader& r) {
    const QJsonValue v = r.Raw("options");
    if (v.isUndefined() || v.isNull()) return 0;
    if (v.isDouble()) return r.ToInt(v, "options");
    if (!v.isArray()) r.Fail("options", QStringLiteral("expected a list of option names"));
    int options = 0;
    for (const QJsonValue& e : v.toArray()) {
        int flag = 0;
        for (const auto& o : IndexOptionTable)
            if (e.isString() && e.toString().compare(QLatin1String(o.name), Qt::CaseInsensitive) == 0) flag = o.flag;
        if (!flag) {
            QStringList known;
            for (const auto& o : IndexOptionTable) known << QLatin1String(o.name);
            r.Fail("options", QStringLiteral("unknown option %1 (known: %2)")
                                  .arg(JsonScalar(e), known.join(QStringLiteral(", "))));
        }
        options |= flag;
    }
    return options;
}

TOstForeignKeyAction ParseAction(ObjectReader& r, const char* key) {
    const QJsonValue v = r.Raw(key);
    if (v.isUndefined() || v.isNull()) return faReject;
    if (v.isString()) {
        bool ok = false;
        const TOstForeignKeyAction a = GetForeignKeyActionFromName(v.toString(), &ok);
        if (!ok) r.Fail(key, QStringLiteral("unknown action \"%1\" (Reject, SetNull, SetDefault or Cascade)").arg(v.toString()));
        return a;
    }
    const int n = r.ToInt(v, key);
    if (n < faReject || n > faCascade) r.Fail(key, QStringLiteral("unknown action %1").arg(n));
    return static_cast<TOstForeignKeyAction>(n);
}

// ---------------------------------------------------------------- pretty printing

// Key order of every object kind of a definition; unlisted keys follow alphabetically.
const QStringList KeyOrder = {
    QStringLiteral("name"),        QStringLiteral("level"),         QStringLiteral("capacity"),
    QStringLiteral("collation"),   QStringLiteral("encryption"),    QStringLiteral("type"),
    QStringLiteral("typeName"),    QStringLiteral("size"),          QStringLiteral("precision"),
    QStringLiteral("nullable"),    QStringLiteral("special"),       QStringLiteral("calculated"),
    QStringLiteral("fields"),      QStringLiteral("descFields"),    QStringLiteral("caseInsFields"),
    QStringLiteral("expression"),  QStringLiteral("spec"),          QStringLiteral("number"),
    QStringLiteral("options"),     QStringLiteral("dictionary"),    QStringLiteral("minRelevance"),
    QStringLiteral("separators"),  QStringLiteral("parentTable"),   QStringLiteral("childFields"),
    QStringLiteral("parentFields"), QStringLiteral("onUpdate"),     QStringLiteral("onDelete"),
    QStringLiteral("condition"),   QStringLiteral("message"),       QStringLiteral("columns"),
    QStringLiteral("indexes"),     QStringLiteral("fulltext"),      QStringLiteral("foreignKeys"),
    QStringLiteral("checks"),      QStringLiteral("statistics"),    QStringLiteral("keySize"),
    QStringLiteral("pageSize"),    QStringLiteral("pages"),         QStringLiteral("keys"),
};

void WriteValue(QString& out, const QJsonValue& v, int indent) {
    const QString pad(indent + 2, QLatin1Char(' '));
    if (v.isObject()) {
        const QJsonObject o = v.toObject();
        QStringList keys = o.keys();
        std::stable_sort(keys.begin(), keys.end(), [](const QString& a, const QString& b) {
            const int ia = KeyOrder.indexOf(a), ib = KeyOrder.indexOf(b);
            if (ia >= 0 && ib >= 0) return ia < ib;
            if (ia >= 0 || ib >= 0) return ia >= 0;
            return a < b;
        });
        if (keys.isEmpty()) { out += QStringLiteral("{}"); return; }
        out += QStringLiteral("{\n");
        for (int i = 0; i < keys.size(); ++i) {
            out += pad + JsonScalar(keys[i]) + QStringLiteral(": ");
            WriteValue(out, o.value(keys[i]), indent + 2);
            out += i + 1 < keys.size() ? QStringLiteral(",\n") : QStringLiteral("\n");
        }
        out += QString(indent, QLatin1Char(' ')) + QLatin1Char('}');
    } else if (v.isArray()) {
        const QJsonArray a = v.toArray();
        if (a.isEmpty()) { out += QStringLiteral("[]"); return; }
        // Lists of plain values (index options) stay on one line.
        bool flat = true;
        for (const QJsonValue& e : a) flat = flat && !e.isObject() && !e.isArray();
        if (flat) {
            QStringList items;
            for (const QJsonValue& e : a) items << JsonScalar(e);
            out += QLatin1Char('[') + items.join(QStringLiteral(", ")) + QLatin1Char(']');
            return;
        }
        out += QStringLiteral("[\n");
        for (int i = 0; i < a.size(); ++i) {
            out += pad;
            WriteValue(out, a.at(i), indent + 2);
            out += i + 1 < a.size() ? QStringLiteral(",\n") : QStringLiteral("\n");
        }
        out += QString(indent, QLatin1Char(' ')) + QLatin1Char(']');
    } else {
        out += JsonScalar(v);
    }
}

} // namespace

QStringList IndexOptionNames(int options) {
    QStringList names;
    for (const auto& o : IndexOptionTable)
        if (options & o.flag) names << QLatin1String(o.name);
    return names;
}

QJsonObject TableDefinitionToJson(TOstTable& t, const QString& name) {
    QJsonArray columns;
    for (TOstFieldDef* d : t.GetFieldDefsOst())
        columns.append(QJsonObject{{"name", d->GetName()},
                                   {"type", d->GetDataTypeOst()},
                                   {"typeName", GetDataTypeName(d->GetDataTypeOst())},
                                   {"size", d->GetSize()},
                                   {"precision", d->GetPrecision()},
                                   {"nullable", d->GetNullable()},
                                   {"special", d->GetIsSpecial()},
                                   {"calculated", d->GetInternalCalcField()},
                                   {"expression", d->GetCalcExpression()},
                                   {"spec", d->GetSpec()},
                                   {"number", d->GetFieldNo()}});
    QJsonArray indexes;
    for (TIndexDef* d : t.IndexDefs()) {
        QJsonObject ix{{"name", d->Name},
                       {"fields", d->Fields},
                       {"descFields", d->DescFields},
                       {"expression", d->Expression},
                       {"options", QJsonArray::fromStringList(IndexOptionNames(d->Options.toInt()))}};
        // Only written when used, so that the common shape stays small.
        if (!d->CaseInsFields.isEmpty()) ix.insert(QStringLiteral("caseInsFields"), d->CaseInsFields);
        if (d->Capacity != 0) ix.insert(QStringLiteral("capacity"), d->Capacity);
        indexes.append(ix);
    }
    QJsonArray fulltext;
    for (TOstFulltextIndexDef* d : t.FulltextIndexDefs())
        fulltext.append(QJsonObject{{"name", d->Name},
                                    {"fields", d->Fields},
                                    {"dictionary", d->Dictionary},
                                    {"minRelevance", d->MinRelevance},
                                    {"separators", d->Separators}});
    QJsonArray keys;
    for (TOstForeignKeyDef* d : t.GetIntegrityRules())
        keys.append(QJsonObject{{"name", d->Name},
                                {"parentTable", d->ParentTable},
                                {"childFields", d->ChildFields},
                                {"parentFields", d->ParentFields},
                                {"onUpdate", GetForeignKeyActionName(d->UpdateAction)},
                                {"onDelete", GetForeignKeyActionName(d->DeleteAction)}});
    QJsonArray checks;
    for (TCheckConstraint* d : t.CheckConstraints())
        checks.append(QJsonObject{{"name", d->Name}, {"condition", d->Condition()}, {"message", d->ErrorMessage}});
    return QJsonObject{{"name", name},
                       {"level", t.GetTableLevel()},
                       {"capacity", t.GetCapacity()},
                       {"collation", t.GetCollationName()},
                       {"encryption", t.GetEncryptionMethod()},
                       {"columns", columns},
                       {"indexes", indexes},
                       {"fulltext", fulltext},
                       {"foreignKeys", keys},
                       {"checks", checks}};
}

QString JsonTableName(const QJsonObject& def) {
    const QJsonValue v = def.value(QStringLiteral("name"));
    if (!v.isUndefined() && !v.isNull() && !v.isString()) throw Failure(QStringLiteral("\"name\": expected a string"));
    return v.toString().trimmed();
}

void AddIndexStatistics(QJsonObject& def, TOstTable& t) {
    TOstDatabase* db = t.GetDatabase();
    const uint16_t relation = db ? OstSessFindRltnHdl(db->SessionHandle(), t.GetTableName()) : 0;
    QJsonArray indexes = def.value(QStringLiteral("indexes")).toArray();
    for (int i = 0; i < indexes.size(); ++i) {
        QJsonObject ix = indexes[i].toObject();
        TOstIndexInfoBlock info;
        if (relation == 0 || OstIndexGetInfo(relation, ix.value(QStringLiteral("name")).toString(), info) != 0) continue;
        ix.insert(QStringLiteral("statistics"), QJsonObject{{"keySize", int(info.KeySize)},
                                                            {"pageSize", qint64(info.PageSize)},
                                                            {"capacity", qint64(info.Capacity)},
                                                            {"pages", qint64(info.PageCount)},
                                                            {"keys", qint64(info.KeyCount)}});
        indexes[i] = ix;
    }
    def.insert(QStringLiteral("indexes"), indexes);
}

namespace {

int ParseEncryption(ObjectReader& r, const char* key) {
    const QJsonValue v = r.Raw(key);
    if (v.isUndefined() || v.isNull()) return emDefault;
    if (v.isString()) {
        for (int m = emDefault; m <= emRijndael; ++m)
            if (OstEncryptionMethodName(m).compare(v.toString(), Qt::CaseInsensitive) == 0) return m;
        r.Fail(key, QStringLiteral("unknown encryption method \"%1\"").arg(v.toString()));
    }
    const int m = r.ToInt(v, key);
    if (m < emDefault || m > emRijndael)
        r.Fail(key, QStringLiteral("unknown encryption method %1 (%2 to %3)").arg(m).arg(emDefault).arg(emRijndael));
    return m;
}

TNewDictionaryRequest ParseNewDictionary(const QJsonValue& v, const QString& where, int position) {
    const QString at = where + QStringLiteral(": \"newDictionary\"");
    ObjectReader r(ElementObject(v, at), at);
    TNewDictionaryRequest d;
    d.Fulltext = position;
    d.Name = r.Str("name").trimmed();
    if (d.Name.isEmpty()) r.Fail("name", QStringLiteral("Dictionary name missing"));
    d.MaxKeywordLength = r.Int("maxKeywordLength", 20);
    if (d.MaxKeywordLength < 10 || d.MaxKeywordLength > 32768)
        r.Fail("maxKeywordLength", QStringLiteral("must be between 10 and 32768"));
    d.Encryption = ParseEncryption(r, "encryption");
    const QJsonValue password = r.Raw("password");
    if (!password.isUndefined() && !password.isNull()) {
        if (!password.isString()) r.Fail("password", QStringLiteral("expected a string"));
        d.HasPassword = true;
        d.Password = password.toString();
    }
    r.Finish();
    return d;
}

} // namespace

void TableDefinitionFromJson(const QJsonObject& def, TOstTable& t, QList<TNewDictionaryRequest>* newDictionaries) {
    ObjectReader table(def, QStringLiteral("table definition"));
    table.Raw("name"); // the caller picks the table with it
    t.SetTableLevel(table.Int("level", OstDefaultTableLevel));
    t.SetCapacity(table.Int("capacity", 100000));
    t.SetCollationName(table.Str("collation"));
    const int encryption = table.Int("encryption", emDefault);
    if (encryption < emDefault || encryption > emRijndael)
        table.Fail("encryption", QStringLiteral("unknown encryption method %1 (%2 to %3)").arg(encryption).arg(emDefault).arg(emRijndael));
    t.SetEncryptionMethod(encryption);

    TOstFieldDefs& fields = t.GetFieldDefsOst();
    fields.Clear();
    const QJsonArray columns = table.Array("columns");
    for (int i = 0; i < columns.size(); ++i) {
        const QString where = ElementWhere("columns", i, columns[i]);
        ObjectReader r(ElementObject(columns[i], where), where);
        TOstFieldDef* d = fields.Add();
        d->SetName(r.Str("name"));
        if (d->GetName().isEmpty()) r.Fail("name", QStringLiteral("missing"));
        d->SetDataTypeOst(ParseDataType(r));
        d->SetSize(r.Int("size", 0));
        d->SetPrecision(r.Int("precision", 0));
        // New columns are nullable by default from level 4 on; below, only where the type allows it.
        d->SetNullable(r.Bool("nullable", OstLevel::TypeMayBeNullable(t.GetTableLevel(), d->GetDataTypeOst())));
        d->SetIsSpecial(r.Bool("special", false));
        d->SetInternalCalcField(r.Bool("calculated", false));
        d->SetCalcExpression(r.Str("expression"));
        d->SetSpec(r.Str("spec"));
        const int number = r.Int("number", 0);
        if (number < 0 || number > 65535) r.Fail("number", QStringLiteral("must be between 0 and 65535"));
        d->SetFieldNo(static_cast<uint16_t>(number));
        r.Finish();
    }

    t.IndexDefs().Clear();
    const QJsonArray indexes = table.Array("indexes");
    for (int i = 0; i < indexes.size(); ++i) {
        const QString where = ElementWhere("indexes", i, indexes[i]);
        ObjectReader r(ElementObject(indexes[i], where), where);
        TIndexDef* d = t.IndexDefs().Add();
        d->Name = r.Str("name");
        d->Fields = r.Str("fields");
        d->DescFields = r.Str("descFields");
        d->CaseInsFields = r.Str("caseInsFields");
        d->Expression = r.Str("expression");
        d->Options = TIndexOptions::fromInt(ParseIndexOptions(r));
        d->Capacity = r.Int("capacity", 0);
        r.Raw("statistics"); // what describe adds from the stored index
        r.Finish();
    }

    t.FulltextIndexDefs().Clear();
    const QJsonArray fulltext = table.Array("fulltext");
    for (int i = 0; i < fulltext.size(); ++i) {
        const QString where = ElementWhere("fulltext", i, fulltext[i]);
        ObjectReader r(ElementObject(fulltext[i], where), where);
        TOstFulltextIndexDef* d = t.FulltextIndexDefs().Add();
        d->Name = r.Str("name");
        d->Fields = r.Str("fields");
        d->Dictionary = r.Str("dictionary");
        d->MinRelevance = r.Int("minRelevance", 0);
        d->Separators = r.Str("separators");
        const QJsonValue fresh = r.Raw("newDictionary");
        if (!fresh.isUndefined() && !fresh.isNull()) {
            if (!d->Dictionary.trimmed().isEmpty())
                r.Fail("newDictionary", QStringLiteral("give either \"dictionary\" or \"newDictionary\""));
            const TNewDictionaryRequest request = ParseNewDictionary(fresh, where, i);
            if (!newDictionaries) r.Fail("newDictionary", QStringLiteral("only plan and apply make new dictionaries"));
            newDictionaries->append(request);
        }
        r.Finish();
    }

    t.GetIntegrityRules().Clear();
    const QJsonArray keys = table.Array("foreignKeys");
    for (int i = 0; i < keys.size(); ++i) {
        const QString where = ElementWhere("foreignKeys", i, keys[i]);
        ObjectReader r(ElementObject(keys[i], where), where);
        TOstForeignKeyDef* d = t.GetIntegrityRules().Add();
        d->Name = r.Str("name");
        d->ParentTable = r.Str("parentTable");
        d->ChildFields = r.Str("childFields");
        d->ParentFields = r.Str("parentFields");
        d->UpdateAction = ParseAction(r, "onUpdate");
        d->DeleteAction = ParseAction(r, "onDelete");
        r.Finish();
    }

    t.CheckConstraints().Clear();
    const QJsonArray checks = table.Array("checks");
    for (int i = 0; i < checks.size(); ++i) {
        const QString where = ElementWhere("checks", i, checks[i]);
        ObjectReader r(ElementObject(checks[i], where), where);
        TCheckConstraint* d = t.CheckConstraints().Add();
        d->Name = r.Str("name");
        d->ImportedConstraint = r.Str("condition");
        d->ErrorMessage = r.Str("message");
        r.Finish();
    }
    table.Finish();
}

QJsonObject ReadJsonObjectFile(const QString& path) {
    QFile f(path);
    if (!f.exists()) throw Failure(QStringLiteral("%1: no such file").arg(path));
    if (!f.open(QIODevice::ReadOnly)) throw Failure(QStringLiteral("%1: %2").arg(path, f.errorString()));
    const QByteArray text = f.readAll();
    QJsonParseError pe;
    const QJsonDocument doc = QJsonDocument::fromJson(text, &pe);
    if (pe.error != QJsonParseError::NoError) {
        int line = 1, column = 1;
        for (int i = 0; i < pe.offset && i < text.size(); ++i) {
            if (text.at(i) == '\n') { ++line; column = 1; }
            else ++column;
        }
        throw Failure(QStringLiteral("%1:%2:%3: malformed JSON: %4").arg(path).arg(line).arg(column).arg(pe.errorString()));
    }
    if (!doc.isObject()) throw Failure(QStringLiteral("%1: expected a JSON object holding a table definition").arg(path));
    return doc.object();
}

QString FormatDefinitionJson(const QJsonObject& def) {
    QString out;
    WriteValue(out, def, 0);
    return out + QLatin1Char('\n');
}

} // namespace cli
