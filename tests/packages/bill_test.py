#!/usr/bin/env python3
"""Whether the bill of materials tells the truth about the packages beside it: bill_test.py FOLDER"""
import hashlib
import json
import pathlib
import sys

folder = pathlib.Path(sys.argv[1])
(bill_file,) = folder.glob("*.spdx.json")
bill = json.loads(bill_file.read_text())
packages = {package["SPDXID"]: package for package in bill["packages"]}

assert bill["spdxVersion"] == "SPDX-2.3" and bill["dataLicense"] == "CC0-1.0", "not what it says to be"
assert len(packages) == len(bill["packages"]), "two packages have one name"
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
