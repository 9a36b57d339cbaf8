#!/usr/bin/env python3
"""Whether the bill of materials tells the truth about the packages beside it: bill_test.py FOLDER"""
import hashlib
import json
import pathlib
import re
import sys

folder = pathlib.Path(sys.argv[1])
(bill_file,) = folder.glob("*.spdx.json")
bill = json.loads(bill_file.read_text())
packages = {package["SPDXID"]: package for package in bill["packages"]}

assert bill["spdxVersion"] == "SPDX-2.3" and bill["dataLicense"] == "CC0-1.0", "not what it says to be"
assert len(packages) == len(bill["packages"]), "two packages have one name"
# What readers of SPDX refuse a document for.
for name in packages:
    assert re.fullmatch(r"SPDXRef-[A-Za-z0-9.-]+", name), name
assert re.fullmatch(r"https://[^#\s]+", bill["documentNamespace"]), bill["documentNamespace"]
assert re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ", bill["creationInfo"]["created"]), bill["creationInfo"]
assert all(re.match(r"(Tool|Person|Organization): \S", creator) for creator in bill["creationInfo"]["creators"])
for package in bill["packages"]:
    for needed in ("name", "downloadLocation", "licenseConcluded", "licenseDeclared", "copyrightText"):
        assert package[needed], (needed, package)
for relationship in bill["relationships"]:
    for end in ("spdxElementId", "relatedSpdxElement"):
        assert relationship[end] in packages or relationship[end] == "SPDXRef-DOCUMENT", relationship
described = {r["relatedSpdxElement"] for r in bill["relationships"] if r["relationshipType"] == "DESCRIBES"}
debs = sorted(folder.glob("*.deb"))
assert len(debs) == 4, debs
assert sorted(packages[name]["packageFileName"] for name in described) == [deb.name for deb in debs], described
for name in described:
    package = packages[name]
    seen = hashlib.sha256((folder / package["packageFileName"]).read_bytes()).hexdigest()
    assert package["checksums"] == [{"algorithm": "SHA256", "checksumValue": seen}], package
    assert package["licenseDeclared"] == "NOASSERTION", "nobody has chosen a licence"
compiled_in = {r["relatedSpdxElement"] for r in bill["relationships"] if r["relationshipType"] == "STATIC_LINK"}
assert {packages[name]["licenseDeclared"] for name in compiled_in} == {"BSD-3-Clause", "MIT"}, compiled_in
print(f"{len(packages)} packages, {len(bill['relationships'])} relationships")
