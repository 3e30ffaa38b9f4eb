# Shared by the install and package tests: a small notes database with a
# fulltext index, made by an installed ostra, and the data module that
# designs it. Usage: make_notes OSTRA DIR  (DIR/notes.ostd, DIR/Notes.ostdm)
fail() { echo "FAIL: $*" >&2; exit 1; }

make_notes() {
  local ostra=$1 dir=$2
  "$ostra" create-db "$dir/notes.ostd" --single-file >/dev/null || fail "ostra create-db"
  cat > "$dir/notes.json" <<'JSON'
{ "name": "Notes",
  "columns": [
    { "name": "Id",    "type": "dtAutoInc" },
    { "name": "Title", "type": "dtString", "size": 40, "nullable": false },
    { "name": "Body",  "type": "dtMemo" } ],
  "fulltext": [ { "name": "Words.fti", "fields": "Title;Body", "minRelevance": 0,
                  "newDictionary": { "name": "NoteWords" } } ] }
JSON
  "$ostra" apply "$dir/notes.ostd" "$dir/notes.json" --yes >/dev/null || fail "ostra apply"
  "$ostra" sql "$dir/notes.ostd" "INSERT INTO Notes(Title, Body) VALUES
    ('Tea', 'green tea with lemon'), ('Cake', 'lemon cake and coffee'), ('Bread', 'flour and water')" >/dev/null \
    || fail "ostra sql"
  cat > "$dir/Notes.ostdm" <<JSON
{ "format": "ostra-datamodule", "version": 1, "class": "TDataModule", "name": "NotesModule",
  "properties": {},
  "components": [
    { "class": "TOstDatabase", "name": "NotesDb", "left": 24, "top": 24,
      "properties": { "DatabaseName": "NotesDb", "Location": "$dir/notes.ostd", "DatabaseType": 1, "Connected": true } },
    { "class": "TOstTable", "name": "Notes", "left": 120, "top": 24,
      "properties": { "DatabaseName": "NotesDb", "TableName": "Notes", "Active": true } } ] }
JSON
}

# Runs the example on the notes database: search, post, search again, and a
# value the engine refuses.
check_example() {
  local notes=$1 dir=$2 out
  out=$("$notes" "$dir/Notes.ostdm" lemon) || fail "notes: $out"
  grep -q '^2 notes hold "lemon"' <<<"$out" || fail "search: $out"
  out=$("$notes" "$dir/Notes.ostdm" tea "Tea time" "black tea and scones") || fail "notes post: $out"
  grep -q '^Posted "Tea time"' <<<"$out" || fail "post: $out"
  grep -q '^2 notes hold "tea"' <<<"$out" || fail "search after post: $out"
  if out=$("$notes" "$dir/Notes.ostdm" tea "A title much longer than the forty characters allowed" x 2>&1); then
    fail "an overlong title was posted: $out"
  fi
  grep -q "Title" <<<"$out" || fail "refusal does not name the column: $out"
}
