"""Holds every include under src/ against the levels in docs/ARCHITECTURE.md."""
import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
SOURCES = ROOT / "src"


def levels():
    """The units of each level, from the bottom up."""
    page = (ROOT / "docs" / "ARCHITECTURE.md").read_text()
    block = re.search(r"```levels\n(.*?)```", page, re.S)[1]
    rows = re.findall(r"^(\w+):((?:.*\n(?:[ ]+.*\n)*))", block, re.M)
    return [(name, units.split()) for name, units in rows]


def unit_of(path):
    return str(path.relative_to(SOURCES).with_suffix(""))


def includes():
    """(file, what it includes in quotes) for every source."""
    for path in sorted(SOURCES.rglob("*")):
        if path.suffix in (".h", ".cpp"):
            for name in re.findall(r'^\s*#include "([^"]+)"', path.read_text(), re.M):
                yield path, name


class Levels(unittest.TestCase):
    def setUp(self):
        self.level = {}
        for number, (_, units) in enumerate(levels()):
            for unit in units:
                self.assertNotIn(unit, self.level, "is listed twice")
                self.level[unit] = number
        self.edges = [(unit_of(path), str(pathlib.PurePath(name).with_suffix("")))
                      for path, name in includes() if (SOURCES / name).exists()]

    def test_list_each_file_once_and_nothing_else(self):
        units = {unit_of(p) for p in SOURCES.rglob("*") if p.suffix in (".h", ".cpp")}
        self.assertGreater(len(units), 50)
        self.assertEqual(units, set(self.level))

    def test_nothing_points_up(self):
        self.assertGreater(len(self.edges), 100)
        up = [edge for edge in self.edges if self.level[edge[0]] < self.level[edge[1]]]
        self.assertEqual([], up)

    def test_there_is_no_circle(self):
        below = {}
        for unit, other in self.edges:
            if unit != other:
                below.setdefault(unit, set()).add(other)
        done, path = set(), []

        def visit(unit):
            self.assertNotIn(unit, path, f"a circle: {path}")
            if unit in done:
                return
            path.append(unit)
            for other in sorted(below.get(unit, ())):
                visit(other)
            path.pop()
            done.add(unit)

        for unit in sorted(below):
            visit(unit)

    def test_only_contracts_of_the_platform_cross_the_seam(self):
        outside = {name for path, name in includes() if not (SOURCES / name).exists()}
        for name in outside:
            with self.subTest(name):
                self.assertTrue((ROOT / "platform" / name).exists(), "neither src/ nor platform/")
                self.assertEqual(2, len(pathlib.PurePath(name).parts), "not a library's contract")


class Rooms(unittest.TestCase):
    def test_every_folder_has_its_line(self):
        page = (ROOT / "docs" / "ARCHITECTURE.md").read_text()
        for folder in sorted(SOURCES.iterdir()):
            if folder.is_dir():
                self.assertIn(f"| `src/{folder.name}/` |", page)


if __name__ == "__main__":
    unittest.main()
