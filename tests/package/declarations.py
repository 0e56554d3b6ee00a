"""Prints a C++ source that refers to all functions and variables that installed headers declare and
do not define. Fails where a template of theirs, or a member of one, is not instantiated.

Reads what clang's -ast-dump=json -ast-dump-filter=NAMESPACE says of a source that includes them."""
import json
import sys

symbols, defined = set(), set()
# By file and offset: the templates with their members, and those that the source instantiates.
patterns, instances = {}, {}


def documents(text):
    decoder, begin = json.JSONDecoder(), text.find("{")
    while begin >= 0:
        document, end = decoder.raw_decode(text, begin)
        yield document
        begin = text.find("{", end)


def name_files(node, file):
    """Adds to each place its file, which clang tells only where it changes."""
    for value in node.values() if isinstance(node, dict) else node:
        if isinstance(value, dict) and "offset" in value:
            file = value["file"] = value.get("file", file)
        elif isinstance(value, (dict, list)):
            file = name_files(value, file)
    return file


def visit(node, in_pattern=False, in_instance=False):
    kind, inner = node["kind"], node.get("inner", [])
    if any(each["kind"] == "TemplateArgument" for each in inner):
        in_pattern, in_instance = False, True
    has_body = "completeDefinition" in node or any(each["kind"] == "CompoundStmt" for each in inner)
    if in_pattern or in_instance:
        if has_body:
            place = node["loc"]["file"], node["loc"]["offset"]
            (patterns if in_pattern else instances)[place] = node.get("name")
    elif "mangledName" in node:
        symbols.add(node["mangledName"])
        if has_body or any(node.get(why) for why in ("init", "isImplicit", "pure",
                                                     "explicitlyDefaulted", "explicitlyDeleted")):
            defined.add(node["mangledName"])
    is_template = kind in ("ClassTemplateDecl", "FunctionTemplateDecl")
    if is_template or kind in ("NamespaceDecl", "CXXRecordDecl", "ClassTemplateSpecializationDecl"):
        for child in inner:
            visit(child, in_pattern or is_template, in_instance and not is_template)


file = None
for document in documents(sys.stdin.read()):
    file = name_files(document, file)
    visit(document)
linked = sorted(symbols - defined)
print('extern "C" char', ",\n  ".join(linked) + ";")
print("const void* linked[] = {", ",\n  ".join("&" + name for name in linked) + "};")
unused = sorted(patterns.keys() - instances.keys())
for file, offset in unused:
    print(f"{file}: nothing instantiates {patterns[file, offset]}, at byte {offset}", file=sys.stderr)
print(f"{len(linked)} declarations, {len(patterns)} templates and members of them", file=sys.stderr)
sys.exit(not linked or not patterns or bool(unused))
