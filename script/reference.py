"""What script/docs runs: builds the reference of the installed headers into build/docs/html and prints where it is.
Fails on each of Doxygen's warnings, and on what it does not look at: a function whose comment leaves out a parameter or the result,
a comment that names something that is not there, and a header whose names would be missing from the reference."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import xml.etree.ElementTree as xml

ROOT = pathlib.Path(__file__).resolve().parent.parent
DOCS = ROOT / "build" / "docs"
# What the comments name besides the reference's own names.
OTHER_NAMES = {"ctime", "localtime", "main"}


def run(*command, **options):
    if subprocess.run([str(word) for word in command], cwd=ROOT, **options).returncode != 0:
        sys.exit(f"docs: {command[0]} failed")


def install():
    """Installs the build that script/demo shows, and returns the folder of its headers."""
    warnings = "-DCMAKE_COMPILE_WARNING_AS_ERROR=" + os.environ.get("CI", "OFF")
    run("cmake", "--preset", "demo", warnings, stdout=subprocess.DEVNULL)
    run("cmake", "--build", "--preset", "demo")
    shutil.rmtree(DOCS, ignore_errors=True)
    run("cmake", "--install", "build/demo", "--prefix", DOCS / "installed", stdout=subprocess.DEVNULL)
    return DOCS / "installed" / "include"


def list_platform(include):
    """Writes a page with the headers that stand for the SDK's off the device, and returns its path."""
    page = "# The platform's headers off the device\n"
    for folder in (include / "corvane-corefoundation", include / "corvane-host"):
        for header in sorted(folder.glob("*/*.h")):
            page += f"\n## {header.relative_to(folder)}\n\n```c\n{header.read_text()}```\n"
    (DOCS / "platform.md").write_text(page)
    return DOCS / "platform.md"


def doxygen(include):
    inputs = ["docs/reference.md", list_platform(include), include / "corvane",
              *sorted((include / "corvane-host").glob("*.h"))]
    settings = (ROOT / "docs" / "Doxyfile").read_text() + "\n".join([
        f"OUTPUT_DIRECTORY = {DOCS}", f"STRIP_FROM_PATH = {include}", f"STRIP_FROM_INC_PATH = {include}",
        "INPUT = " + " ".join(f'"{name}"' for name in inputs)])
    run("doxygen", "-", input=settings, text=True)


def comment_of(element):
    """An element's comment as XML nodes: of what it is in brief, and in detail."""
    return [node for name in ("briefdescription", "detaileddescription") for node in element.findall(name)]


def text_of(nodes):
    return " ".join("".join(node.itertext()) for node in nodes)


def words_in_backquotes(nodes):
    return {word for node in nodes for code in node.iter("computeroutput")
            for word in re.findall(r"[A-Za-z_]\w*", "".join(code.itertext()))}


def place_of(element):
    location = element.find("location")
    return f"{pathlib.Path(location.get('file')).name}:{location.get('line')}"


def is_public(member):
    is_made = not re.search(r"=\s*(delete|default)$", member.findtext("argsstring") or "")
    return is_made and member.get("kind") != "define" and member.get("prot") == "public"


def complaints_of_function(function, names):
    comment = comment_of(function)
    parameters = {name for name in (parameter.findtext("declname") for parameter in function.findall("param")) if name}
    said = words_in_backquotes(comment)
    for name in sorted(parameters - said):
        yield f"does not say what `{name}` is"
    result = "".join(function.find("type").itertext())
    if result not in ("", "void") and function.findtext("name") != "operator=" \
            and not re.search(r"\breturns?\b", text_of(comment), re.IGNORECASE):
        yield f"does not say what it returns, a {result}"
    for name in sorted(said - parameters - names):
        yield f"names `{name}`, which is neither a parameter nor a name of the reference"


def check():
    compounds = [xml.parse(file).getroot().find("compounddef") for file in sorted((DOCS / "xml").glob("*.xml"))]
    compounds = [compound for compound in compounds if compound is not None]
    names = set(OTHER_NAMES)
    for compound in compounds:
        names.update(re.findall(r"\w+", compound.findtext("compoundname")))
        names.update(name.text for name in compound.iter("name"))
    complaints, functions = [], set()
    for compound in compounds:
        members = [member for member in compound.iter("memberdef") if is_public(member)]
        if compound.get("kind") in ("file", "namespace") and members and not text_of(comment_of(compound)).strip():
            complaints.append(f"{compound.findtext('compoundname')}: has no comment of its own (in a header: @file), so"
                              " that the reference leaves its names out")
        for function in (member for member in members if member.get("kind") == "function"):
            if function.get("id") in functions or not text_of(comment_of(function)).strip():
                continue  # Listed twice, or already complained of by Doxygen.
            functions.add(function.get("id"))
            complaints += [f"{place_of(function)}: {function.findtext('name')}: {complaint}"
                           for complaint in complaints_of_function(function, names)]
    print(*complaints, sep="\n", file=sys.stderr, end="\n" if complaints else "")
    if complaints or not functions:
        sys.exit(f"docs: {len(complaints)} complaints about {len(functions)} functions")
    print(f"{len(functions)} functions in {DOCS / 'html' / 'index.html'}")


if __name__ == "__main__":
    doxygen(install())
    check()
