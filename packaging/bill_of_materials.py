"""What others have made of the package: licence texts, and a bill of materials in SPDX 2.3.

components.json says what is linked into which program and copied into which folder; versions and
licence texts are those of the Debian packages that the build used.
"""

import hashlib
import json
import pathlib
import shutil
import subprocess
import time

import archive

DOCUMENT = "ZorInterface.spdx.json"
NOT_LISTED = {DOCUMENT, "SHA256SUMS"}


def debian_package(name):
    """Version, source and home page of an installed package."""
    fields = "${Version}\n${source:Package}\n${source:Version}\n${Homepage}\n${Architecture}"
    answer = subprocess.run(["dpkg-query", "-W", "-f", fields, name],
                            check=True, capture_output=True, text=True).stdout.split("\n")
    return dict(zip(("version", "source", "source_version", "homepage", "architecture"), answer))


def used_components(package, programs_in="bin"):
    """The components that are in one of the package's programs or folders."""
    programs = {path.name for path in (package / programs_in).iterdir()}
    folders = {path.name for path in package.iterdir()}
    components = json.loads((pathlib.Path(__file__).parent / "components.json").read_text())
    for component in components:
        component["programs"] = [name for name in component.get("linked_into", []) if name in programs]
        component["folders"] = [name for name in component.get("copied_into", []) if name in folders]
    return [component for component in components if component["programs"] or component["folders"]]


def add_licenses(package, components):
    folder = package / "licenses"
    folder.mkdir()
    lines = ["What the programs and the manual of this package contain beside its own (its licence is in "
             "the folder above).",
             "Each file is the one that Debian distributes with the package.", ""]
    for component in components:
        shutil.copyfile(f"/usr/share/doc/{component['package']}/copyright",
                        folder / f"{component['package']}.txt")
        lines += [f"{component['name']} ({component['license']})",
                  f"  in {', '.join(component['programs'] + component['folders'])}",
                  f"  see {component['package']}.txt"]
        for text in component["common_licenses"]:
            shutil.copyfile(f"/usr/share/common-licenses/{text}", folder / f"{text}.txt")
            lines.append(f"  and {text}.txt")
        lines.append("")
    (folder / "README.txt").write_text("\n".join(lines))


def identifier(*parts):
    text = "-".join(parts)
    return "SPDXRef-" + "".join(c if c.isalnum() or c in ".-" else "-" for c in text)


def spdx_files(package):
    for name, path in archive.files_of(package):
        if name in NOT_LISTED:
            continue
        data = path.read_bytes()
        yield {
            "SPDXID": identifier("File", name),
            "fileName": f"./{name}",
            "checksums": [
                {"algorithm": "SHA1", "checksumValue": hashlib.sha1(data).hexdigest()},
                {"algorithm": "SHA256", "checksumValue": hashlib.sha256(data).hexdigest()},
            ],
            "licenseConcluded": "NOASSERTION",
            "copyrightText": "NOASSERTION",
        }


def spdx_component(component):
    debian = debian_package(component["package"])
    locator = (f"pkg:deb/debian/{component['package'].replace('+', '%2B')}"
               f"@{debian['version'].replace('+', '%2B')}?arch={debian['architecture']}")
    return {
        "SPDXID": identifier("Package", component["package"]),
        "name": component["name"],
        "versionInfo": debian["version"],
        "supplier": "Organization: Debian",
        "downloadLocation": "NOASSERTION",
        "homepage": debian["homepage"] or "NOASSERTION",
        "sourceInfo": f"Debian source package {debian['source']} {debian['source_version']}",
        "filesAnalyzed": False,
        "licenseConcluded": component["license"],
        "licenseDeclared": component["license"],
        "copyrightText": "NOASSERTION",
        "externalRefs": [{
            "referenceCategory": "PACKAGE-MANAGER",
            "referenceType": "purl",
            "referenceLocator": locator,
        }],
    }


def relationship(source, kind, target):
    return {"spdxElementId": source, "relationshipType": kind, "relatedSpdxElement": target}


def spdx_document(package, description, date, components):
    files = list(spdx_files(package))
    product = identifier("Package", description["name"])
    sha1s = sorted(file["checksums"][0]["checksumValue"] for file in files)
    verification = hashlib.sha1("".join(sha1s).encode()).hexdigest()

    relationships = [relationship("SPDXRef-DOCUMENT", "DESCRIBES", product)]
    relationships += [relationship(product, "CONTAINS", file["SPDXID"]) for file in files]
    relationships += [
        relationship(identifier("File", f"bin/{program}"), "STATIC_LINK",
                     identifier("Package", component["package"]))
        for component in components for program in component["programs"]
    ]
    relationships += [relationship(product, "CONTAINS", identifier("Package", component["package"]))
                      for component in components if component["folders"]]
    licence_text = (package / "licenses" / "mingw-w64-x86-64-dev.txt").read_text("utf-8")
    return {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"{description['name']}-{description['version']}",
        "documentNamespace": f"https://spdx.org/spdxdocs/{description['name']}"
                             f"-{description['version']}-{verification}",
        "creationInfo": {
            "created": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(date)),
            "creators": [f"Tool: make_package.py-{description['version']}"],
        },
        "packages": [{
            "SPDXID": product,
            "name": description["name"],
            "versionInfo": description["version"],
            "summary": description["description"],
            "downloadLocation": "NOASSERTION",
            "filesAnalyzed": True,
            "packageVerificationCode": {
                "packageVerificationCodeValue": verification,
                "packageVerificationCodeExcludedFiles": [f"./{name}" for name in sorted(NOT_LISTED)],
            },
            "licenseConcluded": "MIT",
            "licenseDeclared": "MIT",
            "licenseInfoFromFiles": ["NOASSERTION"],
            "copyrightText": "NOASSERTION",
        }] + [spdx_component(component) for component in components],
        "files": files,
        "hasExtractedLicensingInfos": [{
            "licenseId": "LicenseRef-mingw-w64",
            "name": "mingw-w64 runtime: Zope Public License 2.1 and others",
            "extractedText": licence_text,
        }],
        "relationships": relationships,
    }


def add(package, description, date):
    """Adds the licence texts and the bill of materials to the package's folder."""
    components = used_components(package)
    add_licenses(package, components)
    document = spdx_document(package, description, date, components)
    (package / DOCUMENT).write_text(json.dumps(document, indent=1) + "\n")
