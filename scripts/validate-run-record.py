#!/usr/bin/python3
"""Validates ZelCli run records (--out_json) against docs/run-record.schema.json.

Usage: validate-run-record.py [--verdict FILE] SCHEMA RECORD...
Prints one line per problem and exits 1 when any record does not conform,
2 when a file cannot be read. With --verdict the exit code and the lines
also go to FILE, which appears whole (written beside it, then renamed): a
test under Wine, which cannot wait for a host program, waits for the file.
"""
import io
import json
import os
import sys
from contextlib import redirect_stdout

import jsonschema


def main(argv):
    if len(argv) < 3:
        print(__doc__.strip(), file=sys.stderr)
        return 2
    try:
        with open(argv[1], encoding="utf-8") as f:
            schema = json.load(f)
        jsonschema.Draft202012Validator.check_schema(schema)
        validator = jsonschema.Draft202012Validator(schema)
        failed = False
        for path in argv[2:]:
            with open(path, encoding="utf-8") as f:
                record = json.load(f)
            for error in sorted(validator.iter_errors(record), key=lambda e: list(e.path)):
                failed = True
                where = "/".join(str(p) for p in error.path) or "(root)"
                print(f"{path}: {where}: {error.message}")
    except (OSError, ValueError) as error:
        print(f"cannot read: {error}")
        return 2
    return 1 if failed else 0


def run(argv):
    if len(argv) < 3 or argv[1] != "--verdict":
        return main(argv)
    verdict = argv[2]
    lines = io.StringIO()
    with redirect_stdout(lines):
        code = main([argv[0]] + argv[3:])
    with open(verdict + ".tmp", "w", encoding="utf-8") as f:
        f.write(f"{code}\n{lines.getvalue()}")
    os.replace(verdict + ".tmp", verdict)
    print(lines.getvalue(), end="")
    return code


if __name__ == "__main__":
    sys.exit(run(sys.argv))
