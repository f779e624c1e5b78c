"""counts_test.py - shares and lists of what gcov has counted."""
import tempfile
import unittest
from pathlib import Path

from counting.counts import Fault, add_counts, branches_missed, lines_missed, lines_of, read_kept, shares, stale, without_braces

kWayOn = {"count": 3, "fallthrough": True, "throw": False}
kWayOut = {"count": 0, "fallthrough": False, "throw": True}


def branch(count, falls=False):
    return {"count": count, "fallthrough": falls, "throw": False}


def line(number, count, branches=(), function="f"):
    return {"line_number": number, "count": count, "branches": list(branches), "function_name": function}


def counted(*reports):
    functions = {}
    for path, lines in reports:
        add_counts(functions, {"files": [{"file": path, "lines": lines}]}, "/tree")
    return lines_of(functions)


class CountsTest(unittest.TestCase):
    def test_the_core_alone_is_counted(self):
        lines = [line(1, 1)]
        self.assertEqual(["codec/A.cpp"], list(counted(
            ("/tree/codec/A.cpp", lines), ("/tree/app/B.cpp", lines), ("/usr/include/C.h", lines),
            ("/tree/shared/System/kvPreferences.cpp", lines), ("/tree/tests/codec/ATest.cpp", lines))))

    def test_the_two_branches_at_a_call_are_no_decision(self):
        self.assertEqual({"codec/A.cpp": [(1, 3, [1, 2])]}, counted(
            ("codec/A.cpp", [line(1, 3, [kWayOn, kWayOut, branch(1, True), branch(2), kWayOn, kWayOut])])))
        self.assertEqual({"codec/A.cpp": [(1, 3, [1, 2])]}, counted(
            ("codec/A.cpp", [line(1, 3, [kWayOut, kWayOn, branch(1, True), branch(2)])])))

    def test_an_inline_function_of_two_objects_is_one(self):
        self.assertEqual({"codec/A.h": [(1, 3, [2, 1])]}, counted(
            ("codec/A.h", [line(1, 1, [branch(0, True), branch(1)])]),
            ("codec/A.h", [line(1, 2, [branch(2, True), branch(0)])])))

    def test_instances_with_other_decisions_are_counted_each(self):
        self.assertEqual({"codec/A.h": [(1, 2, [1, 0, 1, 0, 0, 1])]}, counted(
            ("codec/A.h", [line(1, 1, [branch(1, True), branch(0)], "f<int>"),
                           line(1, 1, [branch(1, True), branch(0), branch(0, True), branch(1)], "f<long>")])))

    def test_shares_and_lists_name_what_is_missing(self):
        files = counted(("codec/A.cpp", [line(1, 2, [branch(2, True), branch(0)]), line(2, 0), line(3, 1)]),
                        ("bank/place/B.cpp", [line(9, 1)]))
        self.assertEqual({"bank/place": [1, 1, 0, 0], "codec": [2, 3, 1, 2], "all": [3, 4, 1, 2]}, shares(files))
        self.assertEqual([("codec/A.cpp", 2)], lines_missed(files))
        self.assertEqual([("codec/A.cpp", 1, 1, 2)], branches_missed(files))

    def test_a_closing_brace_is_no_line_of_code(self):
        text = {1: "}", 2: "});", 3: "} catch (...) {"}
        self.assertEqual({"codec/A.cpp": [(3, 0, [])]}, without_braces(
            counted(("codec/A.cpp", [line(1, 0), line(2, 0), line(3, 0)])), lambda _, number: text[number]))

    def test_a_reason_whose_line_is_gone_is_stale(self):
        kept = {("a.cpp", "return 1;"): "cannot be.", ("a.cpp", "return 2;"): "cannot be."}
        self.assertEqual([("a.cpp", "return 2;")], stale(kept, lambda path: {"return 1;"}))

    def test_objects_that_differ_are_refused(self):
        with self.assertRaises(Fault):
            counted(("codec/A.h", [line(1, 1, [branch(1, True), branch(0)])]), ("codec/A.h", [line(1, 1)]))

    def test_a_kept_line_has_its_reason(self):
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "kept.txt"
            path.write_text("# What this is\n\na.cpp: cannot be.\n- return 1;\n")
            self.assertEqual({("a.cpp", "return 1;"): "cannot be."}, read_kept(path))
            path.write_text("a.cpp: cannot be.\n")
            with self.assertRaises(Fault):
                read_kept(path)


if __name__ == "__main__":
    unittest.main()
