"""mutation_test.py - the edits that mutants are made of: what is changed, and what stays as it is."""
import subprocess
import tempfile
import unittest
from pathlib import Path

from mutation.answers import read_answers
from mutation.edits import mutants_of
from mutation.sandbox import Fault, wait_while_busy


def changed(text):
    """The texts that the mutants of this source have in its place."""
    return {mutant.apply(text) for mutant in mutants_of("a.cpp", text)}


class EditsTest(unittest.TestCase):
    def test_an_operator_between_spaces_becomes_another(self):
        self.assertEqual({"x = a - b;"}, changed("x = a + b;"))
        self.assertEqual({"x = a <= b;", "x = a >= b;"}, changed("x = a < b;"))
        self.assertEqual({"x = a << b;"}, changed("x = a >> b;"))
        self.assertEqual({"x -= b;"}, changed("x += b;"))

    def test_a_number_gets_its_neighbours_and_keeps_its_form(self):
        self.assertEqual({"x = 0x10u;", "x = 0xEu;"}, changed("x = 0xFu;"))
        self.assertEqual({"x = 1;"}, changed("x = 0;"))
        self.assertEqual({"x = 10001;", "x = 9999;"}, changed("x = 10'000;"))

    def test_a_condition_is_negated_whole(self):
        self.assertEqual({"if (!(f(a))) b = c;"}, changed("if (f(a)) b = c;"))
        self.assertEqual({"while (!(a)) b = c;"}, changed("while (a) b = c;"))
        self.assertIn("if (auto p = q(); !(p.x)) y = z;", changed("if (auto p = q(); p.x) y = z;"))

    def test_a_condition_keeps_the_texts_in_it(self):
        self.assertEqual({'if (!(f("a < b"))) c = d;'}, changed('if (f("a < b")) c = d;'))

    def test_a_call_whose_result_nobody_uses_is_removed(self):
        self.assertEqual({"void f() { ; }"}, changed("void f() { g(a); }"))
        self.assertEqual({"void f() { if (!(a)) b->g(); }", "void f() { if (a) ; }"},
                         changed("void f() { if (a) b->g(); }"))
        self.assertEqual(set(), changed("void f() { return g(a); }"))

    def test_a_declaration_is_no_call(self):
        self.assertEqual(set(), changed("class C { C(const C&); };"))

    def test_true_and_false_change_places_and_a_not_goes(self):
        self.assertEqual({"x = false;"}, changed("x = true;"))
        self.assertEqual({"x = y;"}, changed("x = !y;"))

    def test_a_step_goes_the_other_way(self):
        self.assertEqual({"--i;"}, changed("++i;"))

    def test_comments_texts_and_what_the_compiler_checks_stay(self):
        for text in ("// a + 1", "/* a < b\n 2 */", 'f = "1 + 2";', 'f = R"(1 + 2)";', "f = '1';", "#include <a1>",
                     "#define A (B + 1)", "static_assert(a == 1);", "template <int n = 1>", "std::vector<int> a;",
                     "char* p; const int& r = a;"):
            self.assertEqual(set(), changed(text), text)

    def test_a_mark_inside_a_number_does_not_begin_a_text(self):
        self.assertIn("x = 1'000 - y;", changed("x = 1'000 + y;"))

    def test_a_mutant_tells_its_place_and_both_lines(self):
        mutant, = mutants_of("a.cpp", "\n  x = a +\n  b;\n")
        self.assertEqual("a.cpp:2\n- x = a +\n+ x = a -", str(mutant))


class WaitTest(unittest.TestCase):
    def wait(self, script, patience=60, idle=0.5):
        with subprocess.Popen(["sh", "-c", script], stdin=subprocess.DEVNULL) as running:
            code = wait_while_busy(running, patience, idle)
            running.kill()
            return code

    def test_the_code_of_a_program_that_ends_is_told(self):
        self.assertEqual(3, self.wait("exit 3", idle=30))

    def test_a_program_that_does_nothing_has_no_code(self):
        self.assertIsNone(self.wait("exec sleep 600"))

    def test_a_program_that_works_on_has_no_code_when_patience_ends(self):
        self.assertIsNone(self.wait("while :; do :; done", patience=1, idle=30))


class AnswersTest(unittest.TestCase):
    def read(self, text):
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "answers.txt"
            path.write_text(text)
            return read_answers(path)

    def test_a_block_is_a_path_with_a_reason_and_two_lines(self):
        self.assertEqual({("a.cpp", "x = a + b;", "x = a - b;"): "equivalent: b is 0."},
                         self.read("# What this is\n\na.cpp: equivalent: b is 0.\n- x = a + b;\n+ x = a - b;\n"))

    def test_an_answer_without_its_kind_is_refused(self):
        with self.assertRaises(Fault):
            self.read("a.cpp: who cares\n- x\n+ y\n")

    def test_a_block_that_is_not_whole_is_refused(self):
        with self.assertRaises(Fault):
            self.read("a.cpp: equivalent: b is 0.\n- x\n")


if __name__ == "__main__":
    unittest.main()
