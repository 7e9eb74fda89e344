"""Writes what a package is made from and needs, as SPDX 2.3: what its programs are linked against, what else it names as
needed or recommended, and the packages whose headers were read for it, all with the versions of this system.

    write_bill_of_materials.py BUILD_FOLDER VERSION NEEDED RECOMMENDED PROGRAM... >FILE

NEEDED and RECOMMENDED are lists of Debian packages, separated by commas. SOURCE_DATE_EPOCH is when the package is from.
"""

import datetime
import json
import os
import re
import subprocess
import sys
import uuid

NAME = "wingbell-control"
NOT_KNOWN_HERE = "NOASSERTION"  # as SPDX says it


def run(*command):
    return subprocess.run(command, capture_output=True, check=True, text=True).stdout


def packages_with(patterns):
    """The installed Debian packages that have files of these names, of which some may be nobody's."""
    # It fails if one is not found, though it has printed the others.
    output = subprocess.run(["dpkg-query", "--search", *patterns], capture_output=True, check=False, text=True).stdout
    owned = [line.rpartition(": ")[0] for line in output.splitlines() if not line.startswith("diversion by ")]
    return {package.split(":")[0] for line in owned for package in line.split(", ")}


def linked(programs):
    libraries = {
        name for program in programs for name in re.findall(r"NEEDED\s+(\S+)", run("objdump", "--private-headers", program))
    }
    # As a pattern, because a library may be found by another path than its package has it under.
    return packages_with([f"*-linux-*/{library}" for library in sorted(libraries)])


def compiled_in(build):
    """The packages whose headers, or what came of them, are in the programs."""
    headers = set()
    ours = False
    for line in run("ninja", "-C", build, "-t", "deps").splitlines():
        if not line.startswith(" "):
            ours = not line.startswith(("tests/", "bench/"))
        elif ours and line.strip().startswith("/usr/"):
            headers.add(os.path.realpath(line.strip()))
    return packages_with(sorted(headers))


def identifier(package):
    return "SPDXRef-" + re.sub(r"[^A-Za-z0-9.-]", "-", package)


def entry(name, version, licence, locator):
    return {
        "SPDXID": identifier(name),
        "name": name,
        "versionInfo": version,
        "downloadLocation": NOT_KNOWN_HERE,
        "filesAnalyzed": False,
        "licenseConcluded": licence,
        "licenseDeclared": licence,
        "copyrightText": NOT_KNOWN_HERE,
        "externalRefs": [
            {"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl", "referenceLocator": locator}
        ],
    }  # fmt: skip


def installed(package):
    shown = run("dpkg-query", "--show", "--showformat", "${db:Status-Status} ${Version} ${Architecture}\n", package)
    _, version, architecture = shown.splitlines()[0].split()
    locator = f"pkg:deb/debian/{package}@{version.replace('+', '%2B')}?arch={architecture}"
    return entry(package, version, NOT_KNOWN_HERE, locator)


def is_installed(package):
    shown = subprocess.run(
        ["dpkg-query", "--show", "--showformat", "${db:Status-Status}\n", package], capture_output=True, check=False, text=True
    )  # fmt: skip
    return "installed" in shown.stdout.splitlines()


def main():
    build, version, needed, recommended, *programs = sys.argv[1:]
    kinds = {
        "RUNTIME_DEPENDENCY_OF": linked(programs) | set(needed.split(", ")),
        "OPTIONAL_DEPENDENCY_OF": {package for package in recommended.split(", ") if package},
        "BUILD_DEPENDENCY_OF": compiled_in(build),
    }
    others = sorted(set().union(*kinds.values()))
    # What is only needed at run time need not be there to make the package, and has no version then.
    missing = [package for package in others if not is_installed(package)]
    packages = [entry(NAME, version, "MIT", f"pkg:deb/{NAME}@{version}")]
    packages += [
        entry(package, NOT_KNOWN_HERE, NOT_KNOWN_HERE, f"pkg:deb/debian/{package}")
        if package in missing
        else installed(package)
        for package in others
    ]  # fmt: skip
    relationships = [{"spdxElementId": "SPDXRef-DOCUMENT", "relationshipType": "DESCRIBES", "relatedSpdxElement": identifier(NAME)}]
    relationships += [
        {"spdxElementId": identifier(package), "relationshipType": kind, "relatedSpdxElement": identifier(NAME)}
        for kind, members in kinds.items()
        for package in sorted(members)
    ]
    made = datetime.datetime.fromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]), datetime.timezone.utc)
    # The same for the same content, and for nothing else.
    unique = uuid.uuid5(uuid.NAMESPACE_OID, json.dumps([packages, relationships]))
    document = {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"{NAME}-{version}",
        "documentNamespace": f"urn:uuid:{unique}",
        "creationInfo": {
            "created": made.strftime("%Y-%m-%dT%H:%M:%SZ"),
            "creators": [f"Tool: {os.path.basename(__file__)}-{version}"],
        },
        "packages": packages,
        "relationships": relationships,
    }
    json.dump(document, sys.stdout, indent=1)
    print()


main()
