"""The allowed includes of each folder. They go in one direction only."""

import re

# For each folder of src/, platform/ and tools/, by its name in #include lines: the other
# folders, or single headers, that it may include besides its own headers.
MAY_INCLUDE = {
    # src
    "main": ["pubsub", "browser", "mdns", "vexbase"],
    "pubsub": ["browser", "mdns", "ssdp", "wsconfig", "product", "formats", "vexbase"],
    "browser": ["ssdp/vex_ssdp.h", "formats", "vexbase"],
    "ssdp": ["product", "formats", "vexbase"],
    "mdns": ["vexbase"],
    "product": ["vexbase"],
    "formats": ["vexbase"],
    # platform
    "wsconfig": ["vexbase"],
    "vexbase": [],
    # tools
    "beaconctl": ["product/product_id.h", "ssdp/ssdp_tunables.h", "formats", "wsconfig", "vexbase"],
    "configd": ["formats", "wsconfig", "vexbase"],
}


def sources(top):
    return [path for part in ("src", "platform", "tools") for path in sorted((top / part).rglob("*"))
            if path.suffix in (".cpp", ".h")]


def is_allowed(folder, header):
    if re.fullmatch(r"moc_\w+\.cpp", header):  # written by Qt's moc for the folder's own headers
        return True
    allowed = [folder, *MAY_INCLUDE.get(folder, [])]
    return header in allowed or header.partition("/")[0] in allowed


def violations(top):
    """A line for each #include of a project header that the table does not allow."""
    found = []
    for path in sources(top):
        folder = path.parent.name
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            include = re.match(r'\s*#\s*include\s*(["<])(.*)[">]', line)
            if include and (include[1] == '"' or include[2].partition("/")[0] in MAY_INCLUDE) \
                    and not is_allowed(folder, include[2]):
                found.append(f"{path.relative_to(top)}:{number}: {folder} may not include "
                             f"{include[2]}")
    return found


def included(path, headers):
    """The headers that a source includes, directly or through headers of the project."""
    seen, waiting = set(), [path]
    while waiting:
        for name in re.findall(r'^#include [<"](.*)[>"]', waiting.pop().read_text(encoding="utf-8"),
                               re.M):
            if name not in seen:
                seen.add(name)
                waiting += [headers[name]] if name in headers else []
    return seen


def without_integers(top):
    """The sources that use std::uint32_t and the like without their header. Whether another
    standard header includes it depends on the compiler."""
    headers = {f"{path.parent.name}/{path.name}": path for path in sources(top)}
    return [str(path.relative_to(top)) for path in sources(top)
            if re.search(r"\bstd::u?int\d+_t\b", path.read_text(encoding="utf-8"))
            and included(path, headers).isdisjoint({"cstdint", "cinttypes"})]
