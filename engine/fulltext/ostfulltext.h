// Fulltext indexes: words of a table's text columns, kept in a dictionary
// table and searchable.
//
// How an index is kept. Each fulltext index is a contentless FTS5 table in the
// file of the indexed table ("__ostra_fts:<table uid>:<index name>") whose
// tokenizer "ostra" splits at the index's separators, folds case and cuts
// words to the dictionary's keyword size. Persistent triggers on the table keep
// it current on every insert, update and delete, whichever way the rows change
// (the engine's post path, TOstQuery, ostra sql, another engine process): a
// trigger lives in the same file as both tables in either database layout,
// costs one FTS5 write per changed row, and needs no per-connection set-up
// except the tokenizer, which every engine connection registers.
// The dictionary (Keyword, Relevance, RecordId) may be another table file of a
// directory database, which persistent triggers cannot reach; temporary
// triggers of each engine connection keep it, like the foreign-key triggers:
// they count the words of the rows a statement changes in memory, and the
// counts are written to the dictionary once per statement
// (ostfulltextdict.cpp).
// Building an index fills the dictionary in one statement from fts5vocab
// rather than word by word.
//
// Relevance. The relevance of a word in a record is the number of times it
// occurs in the record's indexed columns; the relevance of a record for a
// search is the sum over the searched words (a prefix counts every word it
// matches), capped at 65535. A search finds the records holding the words
// whose relevance reaches the index's minimum relevance, a percentage (0 to
// 100) of the relevance of the most relevant record found (0: every record
// holding the words), and ranks them by relevance, highest first, then by
// record id. A dictionary keyword's
// Relevance is the number of records holding it, summed over the indexes that
// share the dictionary and capped at 65535 (a capped count stays at 65535
// until the index is built again).
#pragma once

#include "engine/filter/ostfilter.h"

#include <QString>
#include <QVector>
#include <memory>

struct sqlite3;
class OstConnection;
struct OstTableMeta;
struct OstFulltextMeta;
struct OstTableLocation;

// Installs fulltext indexes as an extension of the store, which then keeps
// them through every change of a table.
void OstFulltextInstall();

// Registers the tokenizer "ostra", the auxiliary function ostra_relevance(fts),
// ostra_words(maxlen, separators, text...) and the table-valued function
// ostra_search(table, words [, index [, mode]]) on a connection.
void OstRegisterFulltext(sqlite3* db);

// Splits text into keywords: separators split, case is folded, keywords are
// cut to maxLen characters. The tokenizer and ostra_words use the same rules.
QStringList OstFulltextWords(const QString& text, const QString& separators, int maxLen);

// ---- keeping indexes (engine internals)

// Before a transaction that gives a table these fulltext definitions: checks
// them, creates dictionaries that do not exist yet (the layout a designer
// gives a new dictionary) and makes the dictionaries reachable.
void OstFulltextPrepare(OstConnection& c, const OstTableMeta& meta);
// Inside the transaction that changes a table from `before` to `after`:
// BeforeChange takes down the machinery of every index that does not stay as
// it is (all of them when the table is rebuilt), taking its words out of its
// dictionary; AfterChange, once the rows are in place, builds what is missing.
void OstFulltextBeforeChange(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& before,
                             const OstTableMeta& after, bool rebuild);
void OstFulltextAfterChange(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& before,
                            const OstTableMeta& after, bool rebuild);
// Raises when a table is the dictionary of another table's fulltext index.
void OstFulltextCheckNotDictionary(OstConnection& c, const QString& table);
// Names of the dictionary tables a table's indexes use.
QStringList OstFulltextDictionaries(const OstTableMeta& meta);
// (Re)creates the temporary dictionary triggers of every reachable table
// (reachable: lower-case table names). Called with the integrity triggers.
void OstFulltextRefreshTriggers(OstConnection& c, const QStringList& reachable);

// ---- searching

struct OstFulltextHit {
    qint64 recordId = 0;
    int relevance = 0;
};

// Search text: words split at the index's separators; all of them must occur
// unless any is set; "OR" between two words lets either occur; "word*"
// matches every word starting with "word". Hits ranked by relevance.
// indexName empty: the table's first fulltext index. Raises EOstraError for
// an unknown index, a search without words or a table without an index.
QVector<OstFulltextHit> OstFulltextSearch(OstConnection& c, const QString& table, const QString& words,
                                          const QString& indexName = QString(), bool any = false);

// CONTAINS of a table's filter. Translates each CONTAINS into a condition on
// the record id and remembers a ranking expression for the cursor's order.
class OstFulltextFilter {
public:
    // defaultIndex: the table's FulltextIndexName (empty: its first index).
    OstFulltextFilter(const OstTableMeta& meta, const OstTableLocation& loc, const QString& defaultIndex);
    ~OstFulltextFilter();
    OstContainsResolver Resolver();
    // Relevance of the current record summed over the CONTAINS met; empty when none.
    QString RankSql() const;

private:
    struct Data;
    std::shared_ptr<Data> d;
};
