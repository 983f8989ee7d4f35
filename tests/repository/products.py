"""The places in the sources, tests and documents that must name each product."""

import re

HEADER = "src/product/product_id.h"
SOURCE = "src/product/product_id.cpp"
ROW = re.compile(r'\{kVEXBoard(\w+), ("[^"]*"), "([^"]*)", ("[^"]*")\}')
NUMBER = re.compile(r"kVEXBoard(\w+) = (0x[0-9a-f]{8}),")


def missing(top):
    """A sentence for each place where a product of the table is missing, in the order of the
    recipe in CONTRIBUTING.md."""
    header = (top / HEADER).read_text(encoding="utf-8")
    numbers = dict(NUMBER.findall(header))
    rows = {name: row for name, *row in ROW.findall(header)}
    for name in sorted(numbers.keys() ^ rows.keys()):
        yield f"{HEADER}: {name} needs a number and a row in kProductTable"
    for kind, values in (("number", list(numbers.values())),
                         ("model name", [row[0] for row in rows.values()]),
                         ("product ID", [row[1] for row in rows.values()])):
        for value in sorted({value for value in values if values.count(value) > 1}):
            yield f"{HEADER}: two products have the {kind} {value}"
    for name, (model, product, category) in rows.items():
        for file, pattern, what in places(name, numbers.get(name), model, product, category):
            if not re.search(pattern, (top / file).read_text(encoding="utf-8"), re.M):
                yield f"{file}: {what} is missing"


def places(name, number, model, product, category):
    row = re.escape(f'{{{number}, {model}, "{product}", {category}}}')
    word = rf"\b{re.escape(product)}\b"
    return [
        (HEADER, rf"static bool is{name}\(", f"is{name}"),
        (SOURCE, rf"^bool CProductID::is{name}\(", f"is{name}"),
        (SOURCE, rf"InFamily<[^>]*\bis{name}\b", f"is{name} in a family"),
        ("tests/unit/product/product_id_test.cpp", row, f"the row of {product}"),
        ("tests/unit/product/product_id_test.cpp", rf"Holding\(CProductID::is{name}\)",
         f"a check of is{name}"),
        ("tests/unit/product/product_features_test.cpp", f'"{re.escape(product)}"', product),
        ("tools/lab/device.py", f'"{re.escape(product)}"', product),
        ("docs/operations.md", rf"^\| product \|.*{word}", f"{product} in the requirements"),
        ("packaging/man/beacond.8", rf"^The device's product:[^.]*{word}", product),
    ]
