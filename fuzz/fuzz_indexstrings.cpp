// Index definition strings: the designer's list routines
// (designer/core/ostindexstrings.h) and the engine's reading of index field
// lists (OstSplitFields, OstParseFieldEntry in engine/ostmeta.h).
//
// Input: one byte (separator choice and index options), then up to three
// lines: Fields, DescFields, Expression. Checked: splitting and joining give
// the pieces back; quoting and unquoting give the text back; the description
// of an index names its fields in order with "-" exactly before the
// descending ones; the engine splits a field list as the designer does, and an
// entry it reads is written and read again the same.
#include "fuzz_helper.h"

#include "designer/core/ostindexstrings.h"
#include "engine/ostdefs.h"
#include "engine/store/ostmeta.h"
#include "engine/base/tdefs.h"

namespace {

QString Show(const QStringList& l) { return u'[' + l.join(QStringLiteral("|")) + u']'; }

void CheckSplitJoin(const QString& text, QChar sep) {
    QStringList list{QStringLiteral("kept")};
    SplitIntoStringList(list, text, sep, false);
    fuzz::Require(!list.isEmpty() && list.first() == QStringLiteral("kept"), QStringLiteral("appending dropped what the list held"));
    list.removeFirst();
    QStringList fresh;
    SplitIntoStringList(fresh, text, sep, true);
    fuzz::Require(fresh == list, QStringLiteral("clearFirst changes the pieces"));
    for (const QString& piece : list) {
        fuzz::Require(piece == piece.trimmed(), QStringLiteral("a piece is not trimmed: \"%1\"").arg(piece));
        fuzz::Require(!piece.contains(sep), QStringLiteral("a piece holds the separator: \"%1\"").arg(piece));
    }
    if (list.contains(QString())) return; // an empty piece at the end does not survive a join
    QStringList again;
    SplitIntoStringList(again, JoinStringList(list, sep), sep, true);
    fuzz::Require(again == list, QStringLiteral("split, join, split differ: %1 then %2").arg(Show(list), Show(again)));
}

void CheckQuotes(const QString& text) {
    fuzz::Require(DoubleUnQuoteStr(DoubleQuoteStr(text)) == text, QStringLiteral("quoting does not undo: \"%1\"").arg(text));
    const QString once = DoubleUnQuoteStr(text);
    fuzz::Require(once.size() <= text.size(), QStringLiteral("unquoting made the text longer"));
}

void CheckDescription(const QString& fields, const QString& desc, const QString& expression, int options) {
    TIndexDefs defs;
    TIndexDef* def = defs.Add();
    def->Name = QStringLiteral("ix");
    def->Fields = fields;
    def->DescFields = desc;
    def->Expression = expression;
    def->Options = TIndexOptions::fromInt(options);
    const QString text = GetIndexDefString(*def);
    if (def->Options.testFlag(ixExpression)) {
        fuzz::Require(text == expression.trimmed(), QStringLiteral("an expression index is not described by its expression"));
        return;
    }
    QStringList names, descNames;
    SplitIntoStringList(names, fields, u';', true);
    SplitIntoStringList(descNames, desc, u';', true);
    for (const QString& n : names)
        if (n.startsWith(u'-') || n.isEmpty()) return; // not a column name; the "-" would be read as descending
    QStringList parts;
    SplitIntoStringList(parts, text, u';', true);
    fuzz::Require(parts.size() == names.size(), QStringLiteral("\"%1\" has %2 entries for %3 fields").arg(text).arg(parts.size()).arg(names.size()));
    for (int i = 0; i < names.size(); ++i) {
        const bool descending = parts[i].startsWith(u'-');
        const QString name = descending ? parts[i].mid(1) : parts[i];
        fuzz::Require(name == names[i], QStringLiteral("entry %1 of \"%2\" is not the field \"%3\"").arg(i + 1).arg(text, names[i]));
        fuzz::Require(descending == descNames.contains(names[i]),
                      QStringLiteral("entry %1 of \"%2\" has the wrong direction").arg(i + 1).arg(text));
    }

    TOstFulltextIndexDefs ftDefs;
    TOstFulltextIndexDef* ft = ftDefs.Add();
    ft->Name = QStringLiteral("words.fti");
    ft->Fields = fields;
    fuzz::Require(GetIndexDefString(*ft) == names.join(QStringLiteral("; ")),
                  QStringLiteral("a fulltext index is not described by its fields"));
}

void CheckEngineFields(const QString& text) {
    QStringList designer;
    SplitIntoStringList(designer, text, u';', true);
    designer.removeAll(QString());
    const QStringList engine = OstSplitFields(text);
    fuzz::Require(engine == designer, QStringLiteral("the engine splits \"%1\" as %2, the designer as %3").arg(text, Show(engine), Show(designer)));
    for (const QString& entry : engine) {
        QString column;
        int length = -1;
        if (!OstParseFieldEntry(entry, column, length)) continue;
        // Quotes and colons are not part of column names; names holding them,
        // and blank ones (no column has such a name, the lookup refuses them),
        // have no written form to compare with.
        if (column.trimmed().isEmpty() || column.contains(u'"') || column.contains(u':')) continue;
        fuzz::Require(!column.isEmpty() && length >= 0, QStringLiteral("entry \"%1\" read without a column").arg(entry));
        const QString written = length > 0 ? column + u':' + QString::number(length) : column;
        QString column2;
        int length2 = -1;
        fuzz::Require(OstParseFieldEntry(written, column2, length2) && column2 == column.trimmed() && length2 == length,
                      QStringLiteral("entry \"%1\" read as \"%2\":%3, written as \"%4\", reads back as \"%5\":%6")
                          .arg(entry, column).arg(length).arg(written, column2).arg(length2));
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    fuzz::Init(argc, argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1 || size > 4096) return -1;
    static const QChar separators[] = {u';', u',', u' ', u':', u'|', u'"', u'\n', u'\t'};
    const QChar sep = separators[data[0] % 8];
    const int options = data[0] >> 3 & 0x1f; // primary, unique, descending, case-insensitive, expression
    const QString text = fuzz::Text(data + 1, size - 1);
    const QStringList lines = text.split(u'\n');
    const QString fields = lines.value(0), desc = lines.value(1), expression = lines.value(2);

    CheckSplitJoin(text, sep);
    CheckQuotes(text);
    CheckDescription(fields, desc, expression, options);
    CheckEngineFields(fields);
    return 0;
}
