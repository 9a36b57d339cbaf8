#!/usr/bin/env python3
"""Whether JSON documents are as a schema says: validate.py SCHEMA < one document a line.

Members that the schema does not name are refused as well: whoever adds one to the output has to add it to the schema. Ends with 0
if all are, 1 after telling which are not, 77 if there is no validator.
"""
import json
import sys

try:
    from jsonschema import Draft202012Validator
except ImportError:
    print("skipped: there is no python3-jsonschema")
    sys.exit(77)


def close(node):
    if isinstance(node, dict):
        if node.get("type") == "object":
            node["additionalProperties"] = False
        for child in node.values():
            close(child)
    elif isinstance(node, list):
        for child in node:
            close(child)


with open(sys.argv[1], encoding="utf-8") as file:
    schema = json.load(file)
Draft202012Validator.check_schema(schema)
close(schema)
validator = Draft202012Validator(schema)
bad = False
for number, line in enumerate(sys.stdin, 1):
    for error in validator.iter_errors(json.loads(line)):
        print(f"{number}: {error.json_path}: {error.message}")
        bad = True
sys.exit(1 if bad else 0)
