#!/usr/bin/env python3
"""docs_commands.py KVBANK - runs the commands of README.md and of every other document, as they are written.

A block of commands is fenced: ```sh holds a command a line, ```console also what it prints, behind lines with "$ ".
Each document is run from its top to its end in a folder of its own, in which piano.sf2 (Debian's FluidR3_GS), bell/
(an SFZ with its waves), samples/ (waves named by note) and sources/ (two source banks) lie. A command must end with 0, or with N where its comment
says "exit code N". What a block of console shows is compared; times, and what is free on the disk, may differ.

A block that cannot be run has "<!-- not run: WHY -->" on the line above it, with a reason of kReasons. Its commands
are counted, and the scripts and documents of this tree that they name must exist. Of commands within sentences the
verb and the options must be known to kvbank.
"""
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

kTree = Path(__file__).resolve().parent.parent
kFont = "/usr/share/sounds/sf2/FluidR3_GS.sf2"
kReasons = {
    "root": "it installs or removes packages",
    "display": "it opens a window",
    "build": "it builds or tests this tree, which takes minutes; CI does it",
    "batch": "it needs a scheduler; the script that is named beside it runs it",
    "sketch": "it needs files or machines that only the reader has",
}
kTimes = (
    (r" in [0-9]+:[0-9:]+$", " in TIME"),
    (r": .* are free$", ": FREE are free"),
    (r"^Identity .*", "Identity"),
)


class Fault(Exception):
    """A document is not what it should be; the text says where and why."""


def blocks(text):
    """The fenced blocks: line number, language, lines, and the reason not to run it or None."""
    lines = text.split("\n")
    at, above = 0, ""
    while at < len(lines):
        fence = re.match(r"( *)```(\w*)$", lines[at])
        if not fence:
            if re.match(r"    \S", lines[at]) and above == "":
                raise Fault(f"line {at + 1}: a block without a fence")
            above = lines[at]
            at += 1
            continue
        end = lines.index(fence[1] + "```", at + 1)
        if not fence[2]:
            raise Fault(f"line {at + 1}: a block without a language")
        reason = re.fullmatch(r"<!-- not run: (\w+) -->", above)
        if "not run" in above and (reason is None or reason[1] not in kReasons):
            raise Fault(f"line {at + 1}: no reason of the table: {above}")
        yield at + 1, fence[2], [line[len(fence[1]):] for line in lines[at + 1:end]], reason and reason[1]
        at, above = end + 1, "```"


def commands(language, lines):
    """The commands of a block, each with the lines it must print, or with None where the block shows none."""
    found = []
    if language == "console":
        for line in lines:
            if line.startswith("$ "):
                found.append((line[2:], []))
            else:
                found[-1][1].append(line)
        return found
    joined = "\n".join(lines).replace("\\\n", "")
    return [(line, None) for line in joined.split("\n") if line.strip() and not line.startswith("#")]


def plain(text):
    """Printed lines without what differs from run to run."""
    lines = text.rstrip("\n").split("\n")
    for pattern, word in kTimes:
        lines = [re.sub(pattern, word, line) for line in lines]
    return lines


def run(command, shown, folder, environment):
    """Runs one command; the cause when it does not do what the document says."""
    done = subprocess.run(["sh", "-c", command], cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    wanted = re.search(r"# .*exit code (\d+)", command)
    code = int(wanted[1]) if wanted else 0
    if done.returncode != code:
        raise Fault(f"{command}\nends with {done.returncode} and not with {code}:\n{done.stdout}")
    if shown is not None and plain("\n".join(shown)) != plain(done.stdout):
        raise Fault(f"{command}\nprints\n{done.stdout}and the document shows\n" + "\n".join(shown))


def look_at(command):
    """Of a command that is not run: what it names of this tree is there."""
    for word in re.findall(r"(?<![\w/])(?:(?:packaging|tests|tools|docs|bench|\.ci)/[\w./-]+|\./\w+\.sh)", command):
        if not (kTree / word).exists():
            raise Fault(f"{command}\nnames {word}, which is not there")


def look_at_sentences(text, environment):
    """Of the commands in a document's sentences: verbs and options are those that the program's help names."""
    def help_of(*verb):
        done = subprocess.run(["kvbank", *verb, "--help"], env=environment, capture_output=True, text=True, check=False)
        return done.stdout if done.returncode == 0 else ""

    helps = {}
    for verb, rest in re.findall(r"`kvbank ([a-z]+)([^`\n]*)`", text):
        if verb not in helps:
            helps[verb] = help_of(verb)
        if not helps[verb]:
            raise Fault(f"kvbank {verb}{rest}: there is no such verb")
        for option in re.findall(r"--[a-z-]+", rest):
            if option not in helps[verb] + help_of():
                raise Fault(f"kvbank {verb}{rest}: there is no option {option}")


def check(text, folder, environment):
    """Runs a document. Returns how many commands have run, and how many have not for each reason."""
    counts = {}
    look_at_sentences(text, environment)
    for number, language, lines, reason in blocks(text):
        if language not in ("sh", "console"):
            if reason:
                raise Fault(f"line {number}: this block has no commands")
            continue
        for command, shown in commands(language, lines):
            counts[reason] = counts.get(reason, 0) + 1
            try:
                look_at(command) if reason else run(command, shown, folder, environment)
            except Fault as fault:
                raise Fault(f"line {number}: {fault}") from None
    return counts


def prepare(folder, environment):
    """The inputs that the documents name."""
    os.symlink(kFont, folder / "piano.sf2")
    for command in ("kvbank -q demo -o made.kvs", "kvbank -q export made.kvs -o bell --sfz",
                    "mkdir samples", "cp 'bell/Pluck low.wav' 'samples/Marimba C3.wav'",
                    "cp 'bell/Pluck high.wav' 'samples/Marimba C4.wav'", "mv made.kvs First.kvs", "mkdir sources",
                    "cp First.kvs sources", "mv First.kvs sources/Second.kvs"):
        run(command, None, folder, environment)


def check_this_check(folder, environment):
    """Each kind of fault must be found, or a green result means nothing."""
    faulty = ("```sh\nfalse\n```", "```sh\ntrue # exit code 3\n```", "```console\n$ echo a\nb\n```",
              "<!-- not run: build -->\n```sh\npackaging/missing.sh\n```", "<!-- not run: mood -->\n```sh\ntrue\n```",
              "text\n\n    kvbank demo\n", "```\ntrue\n```", "`kvbank buidl`", "`kvbank tree --daepth 1`")
    for text in faulty:
        try:
            check(text, folder, environment)
        except Fault:
            continue
        raise Fault(f"this fault is not found:\n{text}")


def main():
    program = Path(sys.argv[1]).resolve()
    if not Path(kFont).exists():
        raise Fault(f"{kFont} is missing (package fluid-soundfont-gs)")
    environment = dict(os.environ, PATH=f"{program.parent}:{os.environ['PATH']}", LC_ALL="C.UTF-8")
    documents = ["README.md", "CONTRIBUTING.md", "bench/README.md"]
    documents += sorted(str(path.relative_to(kTree)) for path in (kTree / "docs").glob("*.md"))
    total = {}
    with tempfile.TemporaryDirectory() as top:
        check_this_check(top, environment)
        for document in documents:
            text = (kTree / document).read_text()
            folder = Path(top) / document.replace("/", "-")
            folder.mkdir()
            try:
                if any(language in ("sh", "console") and not why for _, language, _, why in blocks(text)):
                    prepare(folder, environment)
                counts = check(text, folder, environment)
            except Fault as fault:
                raise Fault(f"{document}, {fault}") from None
            for reason, count in counts.items():
                total[reason] = total.get(reason, 0) + count
            print(f"{document}: {counts.get(None, 0)} run, {sum(counts.values()) - counts.get(None, 0)} not run")
    if not total.get(None):
        raise Fault("no command has run")
    for reason, count in sorted((item for item in total.items() if item[0])):
        print(f"not run, {kReasons[reason]}: {count}")


if __name__ == "__main__":
    try:
        main()
    except Fault as fault:
        sys.exit(f"docs_commands.py: {fault}")
