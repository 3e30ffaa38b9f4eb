#!/usr/bin/env bash
# Changing the encryption of a table of about 2.5 MB (20,000 rows) fails with
# "disk I/O error" and leaves Big.dat.rekey-journal (1 KB) beside the table;
# the table keeps its rows unencrypted. 10,000 rows work.
# (bench/crashloop.sh --cases=encrypt shows the same at 200,000 rows; killed
# runs leave a hot Big.dat.rekey-journal or Big.dat.rekey that the next open
# does not clear.)
set -u
ostra=$(realpath "${OSTRA:-build/cli/ostra}")
rows=${1:-20000}
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir"
"$ostra" create-db db >/dev/null
cat > big.json <<'JSON'
{"name": "Big", "columns": [
  {"name": "Id", "type": "dtAutoInc"}, {"name": "Code", "type": "dtString", "size": 12},
  {"name": "Name", "type": "dtString", "size": 60}, {"name": "Qty", "type": "dtInteger"},
  {"name": "Price", "type": "dtFloat"}, {"name": "Day", "type": "dtDate"},
  {"name": "Flag", "type": "dtBoolean"}, {"name": "Note", "type": "dtMemo"}],
  "indexes": [{"name": "PK", "fields": "Id", "options": ["primary"]},
              {"name": "ByCode", "fields": "Code", "options": ["unique"]},
              {"name": "ByName", "fields": "Name;Qty"}]}
JSON
"$ostra" create-table db big.json >/dev/null
"$ostra" sql db "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < $rows)
  INSERT INTO Big(Code, Name, Qty, Price, Day, Flag, Note)
  SELECT printf('C%08d', i), 'n' || i, i % 1000, i * 0.25, date('2020-01-01', '+' || (i % 3000) || ' days'),
         i % 2, 'note ' || hex(randomblob(12)) FROM n" >/dev/null
"$ostra" describe db Big --json | sed 's/"encryption": 0/"encryption": 6/' > enc.json
"$ostra" --password=PW alter db enc.json
echo "exit code $?"
ls -l db
