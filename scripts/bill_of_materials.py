#!/usr/bin/env python3
"""The bill of materials of Debian packages, as SPDX 2.3 (https://spdx.github.io/spdx-spec/v2.3/).

bill_of_materials.py VERSION COMMIT SECONDS PACKAGE.deb ...

Each package with its checksum, what is compiled into it, and what it is linked with. The same arguments give the same bytes.
"""
import datetime
import hashlib
import json
import pathlib
import re
import subprocess
import sys

# Header-only libraries: what is in the programs is what the packages of the build machine have.
COMPILED_IN = {
    "libcli11-dev": ("CLI11", "BSD-3-Clause"),
    "nlohmann-json3-dev": ("nlohmann/json", "MIT"),
}
NO_LICENCE = "The owner has not chosen a licence yet."


def field(package, name):
    return subprocess.run(["dpkg-deb", "-f", package, name], check=True, capture_output=True, text=True).stdout.strip()


def installed_version(package):
    query = ["dpkg-query", "-W", "-f", "${Version}", package]
    return subprocess.run(query, check=True, capture_output=True, text=True).stdout


def spdx_id_of(package):
    """An identifier has no '+', which is in names of packages."""
    return "SPDXRef-" + re.sub(r"[^A-Za-z0-9.-]", "-", package)


def package_entry(spdx_id, name, version, licence, **more):
    return {
        "SPDXID": spdx_id,
        "name": name,
        "versionInfo": version,
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": False,
        "licenseConcluded": licence,
        "licenseDeclared": licence,
        "copyrightText": "NOASSERTION",
        **more,
    }


def main():
    version, commit, seconds, *debs = sys.argv[1:]
    packages, relationships = [], []
    own = {field(deb, "Package") for deb in debs}
    linked = set()
    for package, (name, licence) in COMPILED_IN.items():
        packages.append(package_entry(spdx_id_of(package), name, installed_version(package), licence))
    for deb in sorted(debs):
        name = field(deb, "Package")
        spdx_id = spdx_id_of(name)
        checksum = hashlib.sha256(pathlib.Path(deb).read_bytes()).hexdigest()
        packages.append(package_entry(
            spdx_id, name, field(deb, "Version"), "NOASSERTION", licenseComments=NO_LICENCE,
            packageFileName=pathlib.Path(deb).name, checksums=[{"algorithm": "SHA256", "checksumValue": checksum}]))
        relationships.append(("SPDXRef-DOCUMENT", "DESCRIBES", spdx_id))
        if name in ("ipseccfg-client", "ipseccfg-server"):
            relationships += [(spdx_id, "STATIC_LINK", spdx_id_of(package)) for package in COMPILED_IN]
        for dependency in filter(None, field(deb, "Depends").split(", ")):
            other = dependency.split(" ")[0]
            if other not in own:
                linked.add((other, dependency))
            relationships.append((spdx_id, "DEPENDS_ON", spdx_id_of(other)))
    for other in sorted({name for name, _ in linked}):
        wanted = sorted({dependency for name, dependency in linked if name == other})
        packages.append(package_entry(spdx_id_of(other), other, "NOASSERTION", "NOASSERTION",
                                      comment="of the system: " + "; ".join(wanted)))
    json.dump({
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": "ipseccfg-" + version,
        "documentNamespace": f"https://spdx.org/spdxdocs/ipseccfg-{version}-{field(debs[0], 'Architecture')}-{commit}",
        "creationInfo": {
            "created": datetime.datetime.fromtimestamp(int(seconds), datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ"),
            "creators": ["Tool: bill_of_materials.py-" + version],
        },
        "packages": packages,
        "relationships": [
            {"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other}
            for one, kind, other in relationships
        ],
    }, sys.stdout, indent=2)
    print()


main()
