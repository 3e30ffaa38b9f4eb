// notes MODULE.ostdm WORDS [TITLE BODY]
//
// An application on the Ostra engine: it loads a data module designed in
// Ostra Studio (its database connects and its tables open as designed),
// searches the fulltext index of its "Notes" table for WORDS, most relevant
// first, and, given TITLE and BODY, posts a new note and searches again.
#include "engine/base/tdatamodule.h"
#include "engine/ostdataset.h"

#include <QCoreApplication>
#include <cstdio>

static void Search(TOstTable& notes, const QString& words) {
    // CONTAINS searches the table's fulltext index; ranked by relevance.
    notes.SetFilter(QStringLiteral("CONTAINS('%1')").arg(QString(words).replace(u'\'', QStringLiteral("''"))));
    notes.SetFiltered(true);
    std::printf("%d notes hold \"%s\":\n", notes.RecordCount(), qPrintable(words));
    for (notes.First(); !notes.Eof(); notes.Next())
        std::printf("  %s\n", qPrintable(notes.FieldByName(QStringLiteral("Title"))->AsString()));
    notes.SetFiltered(false);
}

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 3 && args.size() != 5) {
        std::fprintf(stderr, "usage: notes MODULE.ostdm WORDS [TITLE BODY]\n");
        return 2;
    }
    try {
        TDataModule module;
        LoadDataModule(args.at(1), &module);
        auto* notes = qobject_cast<TOstTable*>(module.FindComponent(QStringLiteral("Notes")));
        if (!notes) {
            std::fprintf(stderr, "The module has no table component \"Notes\"\n");
            return 1;
        }
        if (!notes->Active()) notes->Open();
        Search(*notes, args.at(2));
        if (args.size() == 5) {
            notes->Append();
            notes->FieldByName(QStringLiteral("Title"))->SetAsString(args.at(3));
            notes->FieldByName(QStringLiteral("Body"))->SetAsString(args.at(4));
            notes->Post(); // checked by the engine: sizes, checks, keys
            std::printf("Posted \"%s\"\n", qPrintable(args.at(3)));
            Search(*notes, args.at(2));
        }
    } catch (const Exception& e) {
        // EOstraError, EDatabaseError, EComponentError: the message says it all.
        std::fprintf(stderr, "%s\n", qPrintable(e.Message()));
        return 1;
    }
    return 0;
}
