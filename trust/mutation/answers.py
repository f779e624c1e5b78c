"""answers.py - trust/mutants-answered.txt: the mutants that survive, and why that is right.

A block of three lines for each, as trust/mutants prints survivors, with the reason behind the path:

    codec/BlockSort.cpp: speed only: a longer stride compares the same bytes.
    - nStride = std::min(2 * nStride, kLongestStride);
    + nStride = std::min(2 + nStride, kLongestStride);
"""
from mutation.sandbox import Fault

kKinds = ("equivalent", "speed only", "memory only", "defence")


def read_answers(path):
    """The reasons, by path, line as it is and line as the mutant has it."""
    answers = {}
    lines = [line for line in path.read_text().splitlines() if line and not line.startswith("#")]
    if len(lines) % 3 != 0:
        raise Fault(f"{path} is not made of blocks of three lines.")
    for head, before, after in zip(lines[::3], lines[1::3], lines[2::3]):
        source, _, reason = head.partition(": ")
        if not reason.startswith(kKinds) or not before.startswith("- ") or not after.startswith("+"):
            raise Fault(f"{path} has a block that is no answer: {head}")
        answers[source, before[2:], after[2:]] = reason
    return answers
