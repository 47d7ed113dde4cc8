#!/usr/bin/env python3
"""check_schema.py DOCUMENT...: whether JSON documents are as docs/schema/corvid-cache-1.json says. Says what is not."""
import json
import pathlib
import sys

import jsonschema

schema = json.loads((pathlib.Path(__file__).parent.parent / "docs/schema/corvid-cache-1.json").read_text())
jsonschema.Draft202012Validator.check_schema(schema)


def errors_of(document):
    # The branch of the document's own command, for messages that say something.
    command = document.get("command") if isinstance(document, dict) else None
    for branch in schema["oneOf"]:
        name = branch["$ref"].rsplit("/", 1)[1]
        if schema["$defs"][name]["properties"]["command"]["const"] == command:
            own = {"$schema": schema["$schema"], "$defs": schema["$defs"], "$ref": branch["$ref"]}
            return list(jsonschema.Draft202012Validator(own).iter_errors(document))
    return [f"no command {command!r} is described"]


failed = False
for path in sys.argv[1:]:
    for error in errors_of(json.loads(pathlib.Path(path).read_text(encoding="utf-8"))):
        print(f"{path}: {error}")
        failed = True
sys.exit(1 if failed else 0)
