"""Each product is named in all sources, tests and documents that must name it, and the check
reports each that does not."""

import shutil
from pathlib import Path

import pytest

from products import HEADER, SOURCE, missing

TOP = Path(__file__).resolve().parents[2]
ID_TEST = "tests/unit/product/product_id_test.cpp"
FEATURES_TEST = "tests/unit/product/product_features_test.cpp"
LAB = "tools/lab/device.py"
OPERATIONS = "docs/operations.md"
MANUAL = "packaging/man/beacond.8"

# The steps of the recipe in CONTRIBUTING.md, with a product Nova of the family ZR: file, a text
# in it, and the text that replaces it; then the lines that the check reports without the step.
STEPS = [
    (HEADER, "kVEXBoardZR2 = 0x10680002,\n", "kVEXBoardZR2 = 0x10680002,\n    kVEXBoardNova = 0x10680003,\n",
     [f"{HEADER}: Nova needs a number and a row in kProductTable",
      f"{ID_TEST}: the row of nova is missing"]),
    (HEADER, '"Field recorder"},\n}};', '"Field recorder"},\n    {kVEXBoardNova, "Nova", "nova", "Pocket"},\n}};',
     [f"{HEADER}: Nova needs a number and a row in kProductTable"]),
    (HEADER, "    [[nodiscard]] static bool isZR2(", "    [[nodiscard]] static bool isNova();\n    [[nodiscard]] static bool isZR2(",
     [f"{HEADER}: isNova is missing"]),
    (SOURCE, "bool CProductID::isZR2(", "bool CProductID::isNova()\n{}\nbool CProductID::isZR2(",
     [f"{SOURCE}: isNova is missing"]),
    (SOURCE, "InFamily<isZR1, isZR2>", "InFamily<isZR1, isZR2, isNova>",
     [f"{SOURCE}: isNova in a family is missing"]),
    (ID_TEST, '"Field recorder"},\n}};', '"Field recorder"},\n    {0x10680003, "Nova", "nova", "Pocket"},\n}};',
     [f"{ID_TEST}: the row of nova is missing"]),
    (ID_TEST, "Holding(CProductID::isZR2)", "Holding(CProductID::isNova) Holding(CProductID::isZR2)",
     [f"{ID_TEST}: a check of isNova is missing"]),
    (FEATURES_TEST, '"zr2"', '"zr2", "nova"', [f"{FEATURES_TEST}: nova is missing"]),
    (LAB, '"zr1"]', '"zr1", "nova"]', [f"{LAB}: nova is missing"]),
    (OPERATIONS, "zr1 or zr2.", "zr1, zr2 or nova.",
     [f"{OPERATIONS}: nova in the requirements is missing"]),
    (MANUAL, "zr1 or zr2.", "zr1, zr2 or nova.", [f"{MANUAL}: nova is missing"]),
]


def test_every_product_is_named_everywhere():
    assert list(missing(TOP)) == []


def change(top, steps):
    for file, before, after, _ in steps:
        path = top / file
        if not path.exists():
            path.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(TOP / file, path)
        text = path.read_text(encoding="utf-8")
        assert text.count(before) == 1, (file, before)
        path.write_text(text.replace(before, after), encoding="utf-8")


def test_a_product_with_all_steps_of_the_recipe_is_complete(tmp_path):
    change(tmp_path, STEPS)
    assert list(missing(tmp_path)) == []


@pytest.mark.parametrize("index", range(len(STEPS)))
def test_a_step_that_is_left_out_is_named(tmp_path, index):
    change(tmp_path, STEPS)
    file, before, after, wanted = STEPS[index]
    path = tmp_path / file
    path.write_text(path.read_text(encoding="utf-8").replace(after, before), encoding="utf-8")
    assert list(missing(tmp_path)) == wanted


@pytest.mark.parametrize("before, after, wanted", [
    ("0x10680002,", "0x10680001,", "two products have the number 0x10680001"),
    ('"ZR2", ', '"ZR1", ', 'two products have the model name "ZR1"'),
    ('"zr2", ', '"zr1", ', "two products have the product ID zr1"),
])
def test_a_value_that_two_products_share_is_named(tmp_path, before, after, wanted):
    change(tmp_path, [*STEPS, (HEADER, before, after, [])])
    assert f"{HEADER}: {wanted}" in list(missing(tmp_path))
