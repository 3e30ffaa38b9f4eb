#!/usr/bin/env python3
"""Plants one-line faults in the table designer's core, one at a time, and
reports which the designer tests catch: each fault is written into its file,
the tests are built and run, and the file is put back (also on Ctrl-C).

    python3 scripts/designer_faults.py [BUILD_DIR] [NUMBER,...]

A fault whose line is no longer found is reported as such and skipped.
"""
import os
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
TESTS = ["tst_designercore", "tst_designerapply", "tst_changelist", "tst_columnpropscore", "tst_indexpagecore",
         "tst_indexdefcore"]

M='designer/core/ostmodifications.cpp'
C='designer/core/osttabledesignercore.cpp'
P='designer/core/ostcolumnpropscore.cpp'
G='designer/core/ostindexpagecore.cpp'
I='indexdef/core/ostindexdefcore.cpp'
FAULTS = [
 ("size comparison reversed", M, "if (w.GetSize() < d.GetSize()) return mdColumnTruncated;", "if (w.GetSize() > d.GetSize()) return mdColumnTruncated;"),
 ("precision not compared", M, "if (d.GetPrecision() != w.GetPrecision()) return mdColumnPrecision;", "if (false) return mdColumnPrecision;"),
 ("special flag not compared", M, "if (d.GetIsSpecial() != w.GetIsSpecial()) return mdColumnEnforcedIndex;", "if (false) return mdColumnEnforcedIndex;"),
 ("default collation pair dropped", M, "if (!defaultPair && !SameText(a, b)) return mdColumnCollation;", "if (!SameText(a, b)) return mdColumnCollation;"),
 ("calculation expression not compared", M, "if (!SameText(d.GetCalcExpression(), w.GetCalcExpression())) return mdColumnCalculation;", "if (false) return mdColumnCalculation;"),
 ("precision text wrong", M, 'case mdColumnPrecision: return QStringLiteral("%1 precision altered");', 'case mdColumnPrecision: return QStringLiteral("%1 precision changed");'),
 ("reset threshold wrong", M, "if (d.GetTableLevel() > 5 && w.GetTableLevel() < 6) {", "if (d.GetTableLevel() > 6 && w.GetTableLevel() < 6) {"),
 ("encryption key not compared", M, "if (w.GetEncryptionMethod() != d.GetEncryptionMethod() || !SameText(in.EncryptionKey, d.GetEncryptionPassword()))", "if (w.GetEncryptionMethod() != d.GetEncryptionMethod())"),
 ("collation entry despite reset", M, "if (!SameText(before, after) && !reset) list.Add", "if (!SameText(before, after)) list.Add"),
 ("deleted column position", M, "list.Add(mtColumn, f->GetName(), f->GetName(), wc.Count(), mdColumnDeleted);", "list.Add(mtColumn, f->GetName(), f->GetName(), i + 1, mdColumnDeleted);"),
 ("fulltext separators not compared", M, "if (d.Separators != w.Separators) return mdFulltextSeparators;", "if (false) return mdFulltextSeparators;"),
 ("descending fields not compared", M, "if (d.DescFields != w.DescFields) return mdIndexDescFields;", "if (false) return mdIndexDescFields;"),
 ("primary index listed as index", M, "[](const TIndexDef& ix) { return ix.Name; }, &IsPrimary, list);", "[](const TIndexDef& ix) { return ix.Name; }, &Never<TIndexDef>, list);"),
 ("rename alone restructures", C, "if (!m_modifications.DefExists(mtTable, mdTableRenamed)) return true;", "if (true) return true;"),
 ("check edits not dirty", C, "m.DefTypeCount(mtCheckConstraint) > 0 || m_storedKeyFields.join(u';') != m_keyFields.join(u';'));", "m_storedKeyFields.join(u';') != m_keyFields.join(u';'));"),
 ("index deletion skipped", C, "for (const QString& name : gone) t.DeleteIndex(name);", "for (const QString& name : gone) Q_UNUSED(name);"),
 ("column collations not cleared", C, "if (IsCollatedType(d->GetDataTypeOst())) d->SetSpec(QString());", "if (false) d->SetSpec(QString());"),
 ("index phase order", C, "const bool indexFirst = m_newTable || !restructure;", "const bool indexFirst = m_newTable && !restructure;"),
 ("primary index fields not aligned", C, "else if (before && now) before->Fields = now->Fields;", "else if (before && now) {}"),
 ("allow flags from the wrong dirty flag", C, "    m_dirtyStructure = value;\n    m_view->AllowColumnChanges(m_newTable || !m_dirtyIndexes,", "    m_dirtyStructure = value;\n    m_view->AllowColumnChanges(m_newTable || !m_dirtyStructure,"),
 ("new column nullable threshold", C, "def->SetNullable(m_working->GetTableLevel() > 3);", "def->SetNullable(m_working->GetTableLevel() > 4);"),
 ("renamed key column keeps old name", C, "    m_keyFields[i] = newName;\n", "\n"),
 ("unique enabled without indication", P, "c.UniqueEnabled = !c.Indication.trimmed().isEmpty();", "c.UniqueEnabled = true;"),
 ("retyped string length", P, "size = (oldType == dtString || oldType == dtWideString) ? old.GetSize() : 20;", "size = (oldType == dtString || oldType == dtWideString) ? old.GetSize() : 10;"),
 ("refused rename leaves the table closed", C, "        if (wasActive && !table.Active()) {", "        if (false) {"),
 ("engine's index names applied", C, "if (m.Detail != mdIndexDeleted && IsSystemIndex(m.Name, false))", "if (false)"),
 ("index apply takes input", C, "    TBusyScope busy(m_view);\n    TProgressScope progress(t, *this);\n    // An open table", "    TProgressScope progress(t, *this);\n    // An open table"),
 ("pending dictionary made by the engine", C, "            CreateDictionaryTable(t.GetDatabaseName(), m_working->GetTableLevel(), *item);", "            Q_UNUSED(item);"),
 ("dictionary kept after a failed index", C, "                made.DeleteTable();", "                Q_UNUSED(made);"),
 ("column index left when cleared", C, "        indexes.Delete(i);\n        ++removed;", "        ++removed;"),
 ("names paired without regard to case first", M, "for (int exact = 1; exact >= 0; --exact)", "for (int exact = 0; exact >= 0; --exact)"),
 ("capacity no option", M, "if (d.Options != w.Options || d.Capacity != w.Capacity) return mdIndexOptions;", "if (d.Options != w.Options) return mdIndexOptions;"),
 ("tmp names accepted", G, "return !upper.startsWith(QStringLiteral(\"SYS_\")) && !upper.startsWith(QStringLiteral(\"TMP\"));", "return !upper.startsWith(QStringLiteral(\"SYS_\"));"),
 ("pending dictionary kept on delete", G, "if (row.Fulltext->Dictionary.trimmed().isEmpty()) m_designer.Dictionaries().DeleteDictionaryEntry(row.Fulltext->ID());", ";"),
 ("figures of an edited index", G, "if (stored && stored->Name == ix->Name && stored->SameAs(*ix)) {", "if (stored) {"),
 ("descending keys written ascending", I, "if (kind == ifDescending && k->Ascending) continue;", "if (kind == ifDescending && false) continue;"),
 ("collations that differ kept", I, "return consistent ? result : EngineCollation();", "return result;"),
 ("dictionary password not asked", I, "if (EncryptionKeyEnabled() && DictionaryKey.trimmed().isEmpty())", "if (false)"),
 ("Pwd before Protection", I, "return protection >= 0 && EncryptionIndex >= protection;", "return EncryptionIndex > 0;"),
 ("memo offered as a key", I, "bool OfferedForHierarchical(int type) { return type != dtChar && type != dtMemo &&", "bool OfferedForHierarchical(int type) { return type != dtChar &&"),
 ("extension counts as a rename", I, "if (WithoutExtension(IndexName.trimmed()) != WithoutExtension(m_loadedName)) return true;", "if (IndexName.trimmed() != m_loadedName) return true;"),
]


def main():
    os.chdir(ROOT)
    build = sys.argv[1] if len(sys.argv) > 1 else "build"
    only = [int(x) for x in sys.argv[2].split(",")] if len(sys.argv) > 2 else range(len(FAULTS))
    env = dict(os.environ, QT_QPA_PLATFORM="offscreen")
    caught_count = tried = 0
    for i in only:
        label, path, old, new = FAULTS[i]
        with open(path) as f:
            source = f.read()
        if source.count(old) != 1:
            print(f"{i:2} {label}: line not found, skipped", flush=True)
            continue
        try:
            with open(path, "w") as f:
                f.write(source.replace(old, new))
            b = subprocess.run(["cmake", "--build", build, "--target"] + TESTS + ["-j2"], capture_output=True, text=True)
            if b.returncode != 0:
                print(f"{i:2} {label}: does not build, skipped", flush=True)
                continue
            caught = []
            for t in TESTS:
                r = subprocess.run(["timeout", "300", os.path.join(build, "tests", t)], capture_output=True, text=True, env=env)
                if r.returncode != 0:
                    failed = sorted({l.split("::")[1].split("(")[0] for l in r.stdout.splitlines() if l.startswith("FAIL!")})
                    caught.append(t + ":" + ",".join(failed))
            tried += 1
            caught_count += bool(caught)
            print(f"{i:2} {label}: " + ("caught by " + "; ".join(caught) if caught else "MISSED"), flush=True)
        finally:
            with open(path, "w") as f:
                f.write(source)
    print(f"{caught_count} of {tried} caught")
    subprocess.run(["cmake", "--build", build, "--target"] + TESTS + ["-j2"], capture_output=True)


if __name__ == "__main__":
    main()
