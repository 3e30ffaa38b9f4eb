// Engine basics: object names, list walking, data types, paths, column
// definitions, foreign-key actions, components and collections.
#include "engine/store/ostcollation.h"
#include "engine/ostdefs.h"
#include "engine/ostengine.h"
#include "engine/ostfielddef.h"
#include "engine/base/tcomponent.h"
#include "engine/base/tdefs.h"

#include <QDir>
#include <QPointer>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <sqlite3.h>

namespace {

QString randomName(QRandomGenerator& rng) {
    static const QList<char32_t> pool = {U'a',   U'Z',   U'q',   U'_',   U'_',   U'-',   U' ',    U' ',
                                         U'0',   U'7',   U'.',   U';',   U':',   U'"',   U'\'',   U'/',
                                         U'\\',  U'\t',  U'\n',  U'\r',  0x01,   0x7F,   0xE4,    0xDF,
                                         0x301,  0x3000, 0x4E2D, 0x0663, 0x00B2, 0x2167, 0x1F600, 0x20000,
                                         0xD800, 0xDC00, 0xFEFF, 0xE000, U'$',   U'#',   U'@',    U'*'};
    const int len = rng.bounded(0, 80);
    QString s;
    for (int i = 0; i < len; ++i) {
        const char32_t c = pool.at(rng.bounded(static_cast<int>(pool.size())));
        if (c >= 0xD800 && c <= 0xDFFF)
            s += QChar(static_cast<char16_t>(c)); // an unpaired surrogate
        else
            s += QString::fromUcs4(&c, 1);
    }
    return s;
}

class Probe : public TComponent {
public:
    using TComponent::TComponent;
};

} // namespace

class TestUtils : public QObject {
    Q_OBJECT

private slots:
    void ostNames_data();
    void ostNames();
    void convertedNamesAreValid();
    void extractPartialString_data();
    void extractPartialString();
    void dataTypes();
    void paths();
    void fieldTypeMapping_data();
    void fieldTypeMapping();
    void fieldDefinitions();
    void enumValues_data();
    void enumValues();
    void foreignKeyActions();
    void componentNames();
    void designInfo_data();
    void designInfo();
    void componentOwnership();
    void collectionIds();
};


void TestUtils::ostNames_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<QString>("converted");

    const QString a64(64, QLatin1Char('a'));
    QTest::newRow("plain") << "Customer" << true << "Customer";
    QTest::newRow("underscore first") << "_id" << true << "_id";
    QTest::newRow("blank inside") << "Order Date" << true << "Order Date";
    QTest::newRow("hyphen inside") << "e-mail" << true << "e-mail";
    QTest::newRow("hyphen last") << "x-" << true << "x-";
    QTest::newRow("double underscore kept") << "a__b" << true << "a__b";
    QTest::newRow("umlauts") << QString::fromUtf8("Größe") << true << QString::fromUtf8("Größe");
    QTest::newRow("CJK") << QString::fromUtf8("名前") << true << QString::fromUtf8("名前");
    QTest::newRow("letter beyond BMP")
        << QString::fromUtf8("\U00020000x") << true << QString::fromUtf8("\U00020000x");
    QTest::newRow("combining mark") << QString::fromUtf8("e\u0301t\u00e9") << true
                                    << QString::fromUtf8("e\u0301t\u00e9");
    QTest::newRow("64 characters") << a64 << true << a64;
    QTest::newRow("digits inside") << "Line2" << true << "Line2";

    QTest::newRow("empty") << "" << false << "Field";
    QTest::newRow("blanks only") << "   " << false << "Field";
    QTest::newRow("65 characters") << a64 + "a" << false << a64;
    QTest::newRow("cut leaves a blank")
        << QString(63, QLatin1Char('a')) + " b" << false << QString(63, QLatin1Char('a'));
    QTest::newRow("digit first") << "1st" << false << "_1st";
    QTest::newRow("digit first and long") << "1" + a64 << false << "_1" + QString(62, QLatin1Char('a'));
    QTest::newRow("digits only") << "12" << false << "_12";
    QTest::newRow("trailing blank") << "Name " << false << "Name";
    QTest::newRow("leading blank") << " Name" << false << "Name";
    QTest::newRow("hyphen first") << "-x" << false << "_x";
    QTest::newRow("dot") << "a.b" << false << "a_b";
    QTest::newRow("run of invalid") << "a./\\;:b" << false << "a_b";
    QTest::newRow("next to underscore") << "a_.b" << false << "a_b";
    QTest::newRow("underscore after") << "a._b" << false << "a_b";
    QTest::newRow("quote") << "say\"hi\"" << false << "say_hi_";
    QTest::newRow("tab inside") << "tab\there" << false << "tab_here";
    QTest::newRow("control char") << QString("a") + QChar(1) + "b" << false << "a_b";
    QTest::newRow("punctuation only") << "..." << false << "_";
    QTest::newRow("mark first") << QString::fromUtf8("\u0301e") << false << "_e";
    QTest::newRow("unpaired surrogate") << QString("a") + QChar(0xD800) + "b" << false << "a_b";
    QTest::newRow("emoji") << QString::fromUtf8("x😀y") << false << "x_y";
    QTest::newRow("superscript digit") << QString::fromUtf8("x²") << false << "x_";
}

void TestUtils::ostNames() {
    QFETCH(QString, name);
    QFETCH(bool, valid);
    QFETCH(QString, converted);
    QCOMPARE(IsValidOstName(name), valid);
    QCOMPARE(ConvertToValidOstName(name), converted);
    QVERIFY(IsValidOstName(converted));
}

void TestUtils::convertedNamesAreValid() {
    QRandomGenerator rng(20240611);
    int validInputs = 0;
    for (int i = 0; i < 5000; ++i) {
        const QString s = randomName(rng);
        const QString c = ConvertToValidOstName(s);
        QVERIFY2(IsValidOstName(c), qPrintable(QStringLiteral("input %1 gave %2").arg(s, c)));
        QCOMPARE(ConvertToValidOstName(c), c);
        if (IsValidOstName(s)) {
            ++validInputs;
            QCOMPARE(c, s);
        }
    }
    QVERIFY(validInputs > 0);
}

void TestUtils::extractPartialString_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("pieces");
    QTest::addColumn<QList<int>>("positions");

    QTest::newRow("walk") << "a;b;;c;" << QStringList{"a", "b", "", "c"} << QList<int>{3, 5, 6, 8};
    QTest::newRow("no trailing separator") << "ab;cd" << QStringList{"ab", "cd"} << QList<int>{4, 6};
    QTest::newRow("empty") << "" << QStringList{} << QList<int>{};
    QTest::newRow("separator only") << ";" << QStringList{""} << QList<int>{2};
    QTest::newRow("leading separator") << ";x" << QStringList{"", "x"} << QList<int>{2, 3};
    QTest::newRow("blanks kept") << " a ; b" << QStringList{" a ", " b"} << QList<int>{5, 7};
}

void TestUtils::extractPartialString() {
    QFETCH(QString, text);
    QFETCH(QStringList, pieces);
    QFETCH(QList<int>, positions);
    QStringList got;
    QList<int> pos;
    int position = 1;
    QString piece;
    while (ExtractPartialString(text, u';', position, piece)) {
        got << piece;
        pos << position;
        QVERIFY(got.size() <= text.size() + 1);
    }
    QCOMPARE(got, pieces);
    QCOMPARE(pos, positions);

    // Starting in the middle, and from a position below 1.
    position = 3;
    QVERIFY(ExtractPartialString("a;b;c", u';', position, piece));
    QCOMPARE(piece, QStringLiteral("b"));
    position = 0;
    QVERIFY(ExtractPartialString("a;b;c", u';', position, piece));
    QCOMPARE(piece, QStringLiteral("a"));
    position = 6;
    QVERIFY(!ExtractPartialString("a;b;c", u';', position, piece));
}

// ---- data types

void TestUtils::dataTypes() {
    const QList<int> nullableBelow4 = {dtSmallInt, dtInteger,  dtFloat,    dtWord,
                                       dtTime,     dtDateTime, dtLargeInt, dtBoolean};
    for (int level = OstMinTableLevel; level <= OstMaxTableLevel; ++level) {
        for (int t = 0; t < OstDataTypeCount; ++t) {
            const bool expected = level >= 4 ? t != dtAutoInc : nullableBelow4.contains(t);
            QVERIFY2(OstLevel::TypeMayBeNullable(level, t) == expected,
                     qPrintable(QStringLiteral("level %1 type %2").arg(level).arg(t)));
        }
    }

    QSet<QString> seen;
    for (int t = 0; t < OstDataTypeCount; ++t) {
        const QString name = GetDataTypeName(t);
        QVERIFY(name.startsWith("dt") && name.size() > 2);
        QVERIFY(!seen.contains(name));
        seen.insert(name);
        QCOMPARE(GetDataTypeFromDisplayName(name), t);
        QCOMPARE(GetDataTypeFromDisplayName(name.toUpper()), t);
        QCOMPARE(GetDataTypeFromDisplayName(name.mid(2).toLower()), t);
        QCOMPARE(GetDataTypeName(t | 128), name);
    }
    QCOMPARE(GetDataTypeName(dtWideString), QStringLiteral("dtWideString"));
    QCOMPARE(GetDataTypeName(dtLargeLink), QStringLiteral("dtLargeLink"));
    QCOMPARE(GetDataTypeName(OstDataTypeCount), QString());
    QCOMPARE(GetDataTypeName(127), QString());
    QCOMPARE(GetDataTypeName(-1), QString());
    QCOMPARE(GetDataTypeFromDisplayName("dt"), -1);
    QCOMPARE(GetDataTypeFromDisplayName(""), -1);
    QCOMPARE(GetDataTypeFromDisplayName("Varchar"), -1);

    // The fulltext word splitter keeps letters, digits and '_' together.
    for (const char* c :
         {" ", "\t", "\n", "\r", ".", ",", ";", "\"", "'", "(", "]", "\\", "/", "-", "`", "~"})
        QVERIFY2(OstDefaultFulltextSeparators.contains(QLatin1String(c)), c);
    for (QChar c : OstDefaultFulltextSeparators)
        QVERIFY(!c.isLetterOrNumber() && c != u'_');
}

void TestUtils::paths() {
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QVERIFY(rkDirectoryExists(dir.path()));
    QVERIFY(!rkDirectoryExists(dir.filePath("missing")));
    QFile file(dir.filePath("f.txt"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    QVERIFY(!rkDirectoryExists(file.fileName()));
    QVERIFY(!rkDirectoryExists(""));

    for (const char* p : {"/", "/data/db", "C:\\Data", "c:/data", "\\\\server\\share\\db", "//server/share"})
        QVERIFY2(rkIsAbsolutePath(p), p);
    for (const char* p : {"", "data", "./data", "C:", "C:data", "\\data"})
        QVERIFY2(!rkIsAbsolutePath(p), p);

    for (const char* p : {"/", "C:\\", "d:/", "\\\\server\\share", "\\\\server\\share\\", "//server/share/"})
        QVERIFY2(IsRootPath(p), p);
    for (const char* p : {"", "/data", "C:", "C:\\Data", "\\\\server", "\\\\server\\share\\db", "//"})
        QVERIFY2(!IsRootPath(p), p);

}

// ---- column definitions

void TestUtils::fieldTypeMapping_data() {
    QTest::addColumn<int>("fieldType");
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("precision");
    QTest::addColumn<bool>("required");
    QTest::addColumn<int>("dataType");
    QTest::addColumn<int>("ostSize");
    QTest::addColumn<int>("ostPrecision");

    QTest::newRow("string") << int(ftString) << 30 << 0 << false << int(dtString) << 30 << 0;
    QTest::newRow("string size 0") << int(ftString) << 0 << 0 << false << int(dtString) << 1 << 0;
    QTest::newRow("fixed char") << int(ftFixedChar) << 4 << 0 << true << int(dtString) << 4 << 0;
    QTest::newRow("wide string") << int(ftWideString) << 50 << 0 << false << int(dtWideString) << 50 << 0;
    QTest::newRow("fixed wide char") << int(ftFixedWideChar) << 2 << 0 << false << int(dtWideString) << 2
                                     << 0;
    QTest::newRow("smallint") << int(ftSmallint) << 0 << 0 << false << int(dtSmallInt) << 0 << 0;
    QTest::newRow("integer") << int(ftInteger) << 0 << 0 << true << int(dtInteger) << 0 << 0;
    QTest::newRow("word") << int(ftWord) << 0 << 0 << false << int(dtWord) << 0 << 0;
    QTest::newRow("boolean") << int(ftBoolean) << 0 << 0 << false << int(dtBoolean) << 0 << 0;
    QTest::newRow("float default") << int(ftFloat) << 0 << 0 << false << int(dtFloat) << 0 << 15;
    QTest::newRow("float kept") << int(ftFloat) << 0 << 6 << false << int(dtFloat) << 0 << 6;
    QTest::newRow("float too precise") << int(ftFloat) << 0 << 18 << false << int(dtFloat) << 0 << 15;
    QTest::newRow("float negative") << int(ftFloat) << 0 << -2 << false << int(dtFloat) << 0 << 15;
    // Precision counts significant digits: a currency column keeps all a double holds.
    QTest::newRow("currency default") << int(ftCurrency) << 0 << 0 << false << int(dtFloat) << 0 << 15;
    QTest::newRow("currency with a precision") << int(ftCurrency) << 0 << 2 << false << int(dtFloat) << 0 << 15;
    QTest::newRow("currency too precise") << int(ftCurrency) << 0 << 16 << false << int(dtFloat) << 0 << 15;
    QTest::newRow("bcd") << int(ftBCD) << 4 << 10 << false << int(dtFloat) << 0 << 10;
    QTest::newRow("fmtbcd") << int(ftFMTBcd) << 4 << 0 << false << int(dtFloat) << 0 << 15;
    QTest::newRow("date") << int(ftDate) << 0 << 0 << false << int(dtDate) << 0 << 0;
    QTest::newRow("time") << int(ftTime) << 0 << 0 << false << int(dtTime) << 0 << 3;
    QTest::newRow("datetime") << int(ftDateTime) << 0 << 0 << false << int(dtDateTime) << 0 << 0;
    QTest::newRow("timestamp") << int(ftTimeStamp) << 0 << 0 << false << int(dtDateTime) << 0 << 0;
    for (TFieldType t :
         {ftBytes, ftVarBytes, ftBlob, ftGraphic, ftTypedBinary, ftParadoxOle, ftDBaseOle, ftOraBlob})
        QTest::newRow(FieldTypeName(t)) << int(t) << 16 << 0 << false << int(dtBlob) << 0 << 0;
    for (TFieldType t : {ftMemo, ftFmtMemo, ftOraClob})
        QTest::newRow(FieldTypeName(t)) << int(t) << 0 << 0 << false << int(dtMemo) << 0 << 0;
    QTest::newRow("wide memo") << int(ftWideMemo) << 0 << 0 << false << int(dtWideMemo) << 0 << 0;
    QTest::newRow("autoinc") << int(ftAutoInc) << 0 << 0 << false << int(dtAutoInc) << 0 << 0;
    QTest::newRow("largeint") << int(ftLargeint) << 0 << 0 << false << int(dtLargeInt) << 0 << 0;
    QTest::newRow("guid") << int(ftGuid) << 0 << 0 << false << int(dtGuid) << 38 << 0;
    for (TFieldType t :
         {ftUnknown, ftCursor, ftADT, ftArray, ftReference, ftDataSet, ftVariant, ftInterface, ftIDispatch})
        QTest::newRow(FieldTypeName(t)) << int(t) << 7 << 3 << false << int(dtString) << 255 << 0;
}

void TestUtils::fieldTypeMapping() {
    QFETCH(int, fieldType);
    QFETCH(int, size);
    QFETCH(int, precision);
    QFETCH(bool, required);
    QFETCH(int, dataType);
    QFETCH(int, ostSize);
    QFETCH(int, ostPrecision);

    TFieldDefs defs;
    TFieldDef* src = defs.AddFieldDef("Col", static_cast<TFieldType>(fieldType), size, required);
    src->Precision = precision;
    // Start from a populated definition so that stale members would show.
    TOstFieldDef d;
    d.SetName("old");
    d.SetSpec("stale");
    d.SetCalcExpression("1+1");
    d.SetIsSpecial(true);
    d.SetInternalCalcField(true);
    d.SetFieldNo(9);
    d.SetSize(99);
    d.SetPrecision(99);
    d.Assign(*src);
    QCOMPARE(d.GetName(), QStringLiteral("Col"));
    QCOMPARE(d.GetDataTypeOst(), dataType);
    QCOMPARE(d.GetSize(), ostSize);
    QCOMPARE(d.GetPrecision(), ostPrecision);
    QCOMPARE(d.GetNullable(), !required && dataType != dtAutoInc);
    QCOMPARE(d.GetFieldNo(), uint16_t(0));
    QVERIFY(d.GetSpec().isEmpty());
    QVERIFY(d.GetCalcExpression().isEmpty());
    QVERIFY(!d.GetIsSpecial());
    QVERIFY(!d.GetInternalCalcField());
}

void TestUtils::fieldDefinitions() {
    TOstFieldDefs defs;
    TOstFieldDef* a = defs.Add("Name", dtString, 40);
    a->SetPrecision(0);
    a->SetNullable(false);
    a->SetSpec("de_DE_ci");
    a->SetCalcExpression("Upper(First)");
    a->SetInternalCalcField(true);
    a->SetIsSpecial(true);
    a->SetFieldNo(3);
    defs.Add("Other", dtInteger, 0);

    TOstFieldDefs copy;
    copy.Add("Stale", dtBlob, 0);
    copy.Assign(defs);
    QCOMPARE(copy.GetCount(), 2);
    TOstFieldDef* b = copy.GetFieldDef(0);
    QVERIFY(b != a);
    QVERIFY(b->SameDefinition(*a));
    QCOMPARE(b->GetCollationName(), QStringLiteral("de_DE_ci"));
    QCOMPARE(copy.IndexOf("OTHER"), 1);
    QCOMPARE(copy.IndexOf("missing"), -1);
    QCOMPARE(copy.Find("name"), b);
    QCOMPARE(copy.Find("nope"), nullptr);
    copy.Assign(copy); // self-assignment keeps everything
    QCOMPARE(copy.GetCount(), 2);

    // Each member on its own breaks SameDefinition; the position does not.
    const QList<std::function<void(TOstFieldDef&)>> changes = {
        [](TOstFieldDef& d) { d.SetName("name"); },
        [](TOstFieldDef& d) { d.SetDataTypeOst(dtWideString); },
        [](TOstFieldDef& d) { d.SetSize(41); },
        [](TOstFieldDef& d) { d.SetPrecision(1); },
        [](TOstFieldDef& d) { d.SetNullable(true); },
        [](TOstFieldDef& d) { d.SetIsSpecial(false); },
        [](TOstFieldDef& d) { d.SetInternalCalcField(false); },
        [](TOstFieldDef& d) { d.SetCalcExpression("First"); },
        [](TOstFieldDef& d) { d.SetSpec("de_DE"); },
        [](TOstFieldDef& d) { d.SetFieldNo(4); },
    };
    for (int i = 0; i < changes.size(); ++i) {
        TOstFieldDef c;
        c.Assign(*a);
        QVERIFY(c.SameDefinition(*a));
        changes[i](c);
        QVERIFY2(!c.SameDefinition(*a), qPrintable(QString::number(i)));
    }
    b->SetIndex(1);
    QCOMPARE(b->Index(), 1);
    QVERIFY(b->SameDefinition(*a));
    TOstFieldDef detached;
    detached.Assign(*b);
    QCOMPARE(detached.Index(), -1);
    QVERIFY(detached.SameDefinition(*a));

    // The nullable flag of an auto-increment column is never in effect.
    TOstFieldDef x, y;
    x.SetDataTypeOst(dtAutoInc);
    y.SetDataTypeOst(dtAutoInc);
    x.SetNullable(true);
    y.SetNullable(false);
    QVERIFY(x.SameDefinition(y));
    QVERIFY(x.GetRequired());
}

void TestUtils::enumValues_data() {
    QTest::addColumn<QString>("spec");
    QTest::addColumn<QStringList>("values");
    QTest::newRow("plain") << "red,green,blue" << QStringList{"red", "green", "blue"};
    QTest::newRow("trimmed") << " red , green ,blue " << QStringList{"red", "green", "blue"};
    QTest::newRow("empties dropped") << ",red,,  ,blue," << QStringList{"red", "blue"};
    QTest::newRow("empty") << "" << QStringList{};
    QTest::newRow("quoted comma") << "\"a, b\",c" << QStringList{"a, b", "c"};
    QTest::newRow("quoted after blank") << "x,  \"1,5\" , y" << QStringList{"x", "1,5", "y"};
    QTest::newRow("doubled quote") << "\"say \"\"hi\"\", ok\",z" << QStringList{"say \"hi\", ok", "z"};
    QTest::newRow("quote inside value") << "5\" pipe,6\" pipe" << QStringList{"5\" pipe", "6\" pipe"};
    QTest::newRow("unterminated quote") << "a,\"b,c" << QStringList{"a", "b,c"};
    QTest::newRow("empty quoted") << "\"\",a" << QStringList{"a"};
    QTest::newRow("unicode") << QString::fromUtf8("größer,kleiner")
                             << QStringList{QString::fromUtf8("größer"), "kleiner"};
}

void TestUtils::enumValues() {
    QFETCH(QString, spec);
    QFETCH(QStringList, values);
    TOstFieldDef d;
    d.SetDataTypeOst(dtEnum);
    d.SetSpec(spec);
    QCOMPARE(d.EnumValues(), values);
}

void TestUtils::foreignKeyActions() {
    for (TOstForeignKeyAction a : {faReject, faSetNull, faSetDefault, faCascade}) {
        bool ok = false;
        QCOMPARE(GetForeignKeyActionFromName(GetForeignKeyActionName(a).toLower(), &ok), a);
        QVERIFY(ok);
    }
    QCOMPARE(GetForeignKeyActionName(faSetDefault), QStringLiteral("SetDefault"));
    bool ok = true;
    QCOMPARE(GetForeignKeyActionFromName("Restrict", &ok), faReject);
    QVERIFY(!ok);
    QCOMPARE(GetForeignKeyActionFromName("CASCADE"), faCascade);

    TOstForeignKeyDefs keys;
    TOstForeignKeyDef* k = keys.Add("FK_Orders");
    k->ParentTable = "Customers";
    k->ChildFields = "CustNo";
    k->ParentFields = "No";
    k->DeleteAction = faCascade;
    TOstForeignKeyDefs copy;
    copy.Assign(keys);
    QCOMPARE(copy.IndexOf("fk_orders"), 0);
    QVERIFY(copy.GetIntegrityRule(0)->SameAs(*k));
    copy.GetIntegrityRule(0)->UpdateAction = faSetNull;
    QVERIFY(!copy.GetIntegrityRule(0)->SameAs(*k));

    TOstFulltextIndexDefs fti;
    fti.Add("Words.fti", "Title;Body", "WordsDict");
    fti.GetFulltextIndexDef(0)->Separators = OstDefaultFulltextSeparators;
    TOstFulltextIndexDefs ftiCopy;
    ftiCopy.Assign(fti);
    QCOMPARE(ftiCopy.IndexOf("WORDS.FTI"), 0);
    QVERIFY(ftiCopy.GetFulltextIndexDef(0)->SameAs(*fti.GetFulltextIndexDef(0)));
    ftiCopy.GetFulltextIndexDef(0)->MinRelevance = 5;
    QVERIFY(!ftiCopy.GetFulltextIndexDef(0)->SameAs(*fti.GetFulltextIndexDef(0)));
}

// ---- components and collections

void TestUtils::componentNames() {
    TComponent owner;
    auto* a = new Probe(&owner);
    auto* b = new Probe(&owner);
    a->SetName("Table1");
    QVERIFY_THROWS_EXCEPTION(EComponentError, b->SetName("TABLE1"));
    QVERIFY(b->GetName().isEmpty());
    b->SetName("Table2");
    a->SetName("TABLE1"); // a different case of its own name
    QCOMPARE(a->GetName(), QStringLiteral("TABLE1"));
    QCOMPARE(owner.FindComponent("table1"), a);
    QVERIFY_THROWS_EXCEPTION(EComponentError, a->SetName("1Table"));
    QVERIFY_THROWS_EXCEPTION(EComponentError, a->SetName("Table 1"));
    QCOMPARE(a->GetName(), QStringLiteral("TABLE1"));

    // Components of different owners may share a name.
    TComponent otherOwner;
    auto* c = new Probe(&otherOwner);
    c->SetName("Table1");
    QCOMPARE(c->GetName(), QStringLiteral("Table1"));
    // Unnamed components never clash.
    new Probe(&owner);
    new Probe(&owner);
    QCOMPARE(owner.ComponentCount(), 4);
}

void TestUtils::designInfo_data() {
    QTest::addColumn<int>("left");
    QTest::addColumn<int>("top");
    QTest::addColumn<qint32>("packed");
    QTest::newRow("origin") << 0 << 0 << qint32(0);
    QTest::newRow("positive") << 100 << 200 << qint32((200 << 16) | 100);
    QTest::newRow("negative left") << -1 << 5 << qint32(0x0005FFFF);
    QTest::newRow("negative top") << 7 << -2 << qint32(0xFFFE0007);
    QTest::newRow("both negative") << -32768 << -1 << qint32(0xFFFF8000);
    QTest::newRow("limits") << 32767 << 32767 << qint32(0x7FFF7FFF);
}

void TestUtils::designInfo() {
    QFETCH(int, left);
    QFETCH(int, top);
    QFETCH(qint32, packed);
    TComponent c;
    c.SetDesignPos(left, top);
    QCOMPARE(c.GetDesignInfo(), packed);
    QCOMPARE(c.DesignLeft(), left);
    QCOMPARE(c.DesignTop(), top);
    TComponent d;
    d.SetDesignInfo(packed);
    QCOMPARE(d.DesignLeft(), left);
    QCOMPARE(d.DesignTop(), top);
    QCOMPARE(d.property("DesignInfo").toInt(), packed);
}

void TestUtils::componentOwnership() {
    auto* owner = new TComponent;
    QPointer<TComponent> child = new Probe(owner);
    QPointer<TComponent> grandChild = new Probe(child);
    QPointer<TComponent> doomed = new Probe(owner);
    QCOMPARE(owner->ComponentCount(), 2);
    QCOMPARE(child->Owner(), owner);

    delete doomed.data(); // leaves its owner's list
    QCOMPARE(owner->ComponentCount(), 1);
    QCOMPARE(owner->Components().first(), child.data());

    delete owner;
    QVERIFY(child.isNull());
    QVERIFY(grandChild.isNull());
}

void TestUtils::collectionIds() {
    TOstFieldDefs defs;
    for (int i = 0; i < 5; ++i)
        defs.Add(QStringLiteral("F%1").arg(i), dtInteger, 0);
    QList<int> ids;
    for (TOstFieldDef* d : defs)
        ids << d->ID();
    QCOMPARE(ids, (QList<int>{0, 1, 2, 3, 4}));

    defs.Delete(1);
    TOstFieldDef* added = defs.Add("F5", dtInteger, 0);
    QCOMPARE(added->ID(), 5); // identifiers are not reused
    QCOMPARE(defs.FindByID(1), nullptr);
    QCOMPARE(defs.FindByID(3)->GetName(), QStringLiteral("F3"));

    defs.Move(0, 4);
    QCOMPARE(defs.FindByID(0)->Index(), 4);
    QCOMPARE(defs.FindByID(0)->GetName(), QStringLiteral("F0"));
    defs.FindByID(5)->SetIndex(0);
    QStringList order;
    for (TOstFieldDef* d : defs)
        order << d->GetName();
    QCOMPARE(order, (QStringList{"F5", "F2", "F3", "F4", "F0"}));
    defs.Move(1, 99); // past the end: to the last place
    QCOMPARE(defs.FindByID(2)->Index(), 4);
    defs.Move(-1, 0); // out of range: nothing happens
    QCOMPARE(defs.Count(), 5);
    for (TOstFieldDef* d : defs)
        QCOMPARE(defs.FindByID(d->ID()), d);

    defs.Clear();
    QCOMPARE(defs.Add("G", dtString, 1)->ID(), 6);
}

QTEST_GUILESS_MAIN(TestUtils)
#include "tst_utils.moc"
