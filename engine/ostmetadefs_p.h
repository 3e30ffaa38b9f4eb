// Between the definitions stored with a table (OstTableMeta) and the
// definition collections of the table component. Inside the engine only.
#pragma once

#include "engine/base/tdefs.h"
#include "engine/ostdefs.h"
#include "engine/ostfielddef.h"
#include "engine/store/ostmeta.h"

void OstMetaToDefs(const OstTableMeta& meta, TOstFieldDefs& fields, TIndexDefs& indexes, TOstFulltextIndexDefs& fulltext,
                   TOstForeignKeyDefs& fks, TCheckConstraints& checks);
void OstMetaFromDefs(OstTableMeta& meta, const TOstFieldDefs& fields, const TIndexDefs& indexes,
                     const TOstFulltextIndexDefs& fulltext, const TOstForeignKeyDefs& fks, const TCheckConstraints& checks);
