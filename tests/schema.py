#!/usr/bin/env python3
"""The schema of scheme scripts accepts the sample and what ships, and refuses what the loader would pass over."""
import json
import pathlib
import re

from jsonschema import Draft7Validator

root = pathlib.Path(__file__).resolve().parent.parent
schema = json.loads((root / "samples/scheme.schema.json").read_text(encoding="utf-8"))
Draft7Validator.check_schema(schema)
validator = Draft7Validator(schema)
for path in (*root.glob("schemes/*.json"), root / "samples/scheme.json"):
    # Without comments, but with what looks like one within a text.
    script = re.sub(r'("(?:\\.|[^"\\])*")|//.*', lambda match: match[1] or "", path.read_text(encoding="utf-8"))
    validator.validate(json.loads(script))
for place, key, value in (([], "Schemes", None), ([], "Scheme", []), (["Filter", 0], "CLSID", "{1234}"),
                          (["Filter", 0], "CLSID", None), (["Filter", 0], "Type", "renderer"),
                          (["Filter", 0], "IsOnlyOne", 1), (["Filter", 0], "Cache", True),
                          (["Schemes", 0], "Type", None), (["Schemes", 0], "Filters", {}),
                          (["Schemes", 0, "Filters", 0], "Name", 7)):
    broken = json.loads(script)
    at = broken
    for step in place:
        at = at[step]
    at.pop(key, None)
    if value is not None:
        at[key] = value
    if validator.is_valid(broken):
        raise SystemExit(f"the schema accepts {key} as {value} in {place}")
