#!/usr/bin/env bash
# Headless demo of the engine through the ostra command: create a database and a
# table, fill it, restructure it (rename, widen, retype, add), and show the result.
set -euo pipefail
cd "$(dirname "$0")/.."
ostra=build/cli/ostra
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
db="$work/shop.ostd"

step() { printf '\n\033[1m== %s\033[0m\n' "$*"; }

step "ostra create-db $db"
$ostra create-db "$db"

cat > "$work/customers.json" <<'JSON'
{ "name": "Customers",
  "columns": [
    { "name": "ID",    "type": "dtAutoInc", "spec": "\"Name\"" },
    { "name": "Name",  "type": "dtString", "size": 20, "nullable": false },
    { "name": "City",  "type": "dtString", "size": 20 },
    { "name": "Since", "type": "dtString", "size": 10 } ],
  "indexes": [ { "name": "ByName", "fields": "Name", "options": ["unique"] } ] }
JSON
step "ostra create-table (customers.json)"
$ostra create-table "$db" "$work/customers.json"
$ostra sql "$db" "INSERT INTO Customers(Name, City, Since) VALUES
  ('Ada Lovelace','London','1843-07-01'), ('Alan Turing','Wilmslow','1936-11-12'),
  ('Grace Hopper','Arlington','1952-05-01')"
$ostra sql "$db" "SELECT * FROM Customers"

step "restructure: Name -> FullName (wide, 60), Since text -> dtDate, new column Active"
$ostra describe "$db" Customers --json | python3 -c '
import json, sys
t = json.load(sys.stdin)
for c in t["columns"]:
    if c["name"] == "Name": c.update(name="FullName", type="dtWideString", size=60)
    if c["name"] == "ID": c.update(spec="\"FullName\"")
    if c["name"] == "Since": c.update(type="dtDate", size=0)
t["columns"].append({"name": "Active", "type": "dtBoolean", "expression": "1"})
t["indexes"][0]["fields"] = "FullName"
json.dump(t, sys.stdout)' > "$work/customers2.json"
$ostra alter "$db" "$work/customers2.json"
$ostra describe "$db" Customers
$ostra sql "$db" "SELECT * FROM Customers"

step "a restructure that cannot convert is refused and changes nothing"
sed 's/"dtDate"/"dtInteger"/' "$work/customers2.json" > "$work/bad.json"
$ostra alter "$db" "$work/bad.json" || true
$ostra sql "$db" "SELECT count(*) AS rows FROM Customers"
