#!/usr/bin/env python3
"""Keeps the code blocks of a Markdown guide equal to the compiled sources they come from.

A block is announced by a comment line naming a file (relative to the repository's root) and a
snippet in it:

    <!-- snippet: examples/client-plugin/imagecounter.cpp#observer -->
    ```cpp
    ...
    ```

In the source, the snippet is the text between two marker lines "//! [observer]" (or
"#! [observer]" in CMake files); marker lines inside it are left out, and the common indentation
is removed. --check exits with 1 and a diff when a block differs; --update rewrites the blocks.

A guide's own files, such as those of a walk-through, are announced by a comment that names a
file and no snippet:

    <!-- file: first-client/CMakeLists.txt -->
    ```cmake
    ...
    ```

--extract FOLDER writes each such block to that path under FOLDER, so that a test builds what
the guide shows, word for word.
"""
import argparse
import difflib
import pathlib
import re
import sys
import textwrap

ROOT = pathlib.Path(__file__).resolve().parent.parent
ANNOUNCE = re.compile(r"^<!-- snippet: (?P<file>[^#\s]+)#(?P<name>[\w-]+) -->$")
OWN_FILE = re.compile(r"^<!-- file: (?P<file>[\w./-]+) -->$")
MARKER = re.compile(r"^\s*(//|#)! \[(?P<name>[\w-]+)\]\s*$")


def extract(path, name):
    lines = path.read_text(encoding="utf-8").splitlines()
    starts = [i for i, line in enumerate(lines) if (m := MARKER.match(line)) and m.group("name") == name]
    if len(starts) != 2:
        raise ValueError(f"{path.relative_to(ROOT)}: the snippet '{name}' needs exactly two markers, has {len(starts)}")
    body = [line for line in lines[starts[0] + 1:starts[1]] if not MARKER.match(line)]
    return textwrap.dedent("\n".join(body)).strip("\n").splitlines()


def process(guide, update):
    lines = guide.read_text(encoding="utf-8").splitlines()
    out, problems, i = [], [], 0
    while i < len(lines):
        out.append(lines[i])
        match = ANNOUNCE.match(lines[i])
        i += 1
        if not match:
            continue
        if i >= len(lines) or not lines[i].startswith("```"):
            problems.append(f"{guide.name}:{i}: a code block must follow the snippet comment")
            continue
        fence = lines[i]
        end = i + 1
        while end < len(lines) and lines[end] != "```":
            end += 1
        if end == len(lines):
            problems.append(f"{guide.name}:{i + 1}: the code block does not end")
            break
        current = lines[i + 1:end]
        try:
            wanted = extract(ROOT / match.group("file"), match.group("name"))
        except (OSError, ValueError) as error:
            problems.append(f"{guide.name}:{i}: {error}")
            wanted = current
        if wanted != current and not update:
            problems.append(f"{guide.name}:{i + 1}: the block differs from {match.group('file')}#{match.group('name')}:\n"
                            + "\n".join(difflib.unified_diff(current, wanted, "guide", "source", lineterm="")))
        out.extend([fence, *wanted, "```"])
        i = end + 1
    return out, problems


def own_files(guide):
    """The guide's own files: (relative path, lines) for each block announced with a file name."""
    lines = guide.read_text(encoding="utf-8").splitlines()
    files = []
    for i, line in enumerate(lines):
        match = OWN_FILE.match(line)
        if not match:
            continue
        if i + 1 >= len(lines) or not lines[i + 1].startswith("```"):
            raise ValueError(f"{guide.name}:{i + 1}: a code block must follow the file comment")
        end = i + 2
        while end < len(lines) and lines[end] != "```":
            end += 1
        if end == len(lines):
            raise ValueError(f"{guide.name}:{i + 2}: the code block does not end")
        name = pathlib.PurePosixPath(match.group("file"))
        if name.is_absolute() or ".." in name.parts:
            raise ValueError(f"{guide.name}:{i + 1}: '{name}' is not a path inside the folder")
        files.append((name, lines[i + 2:end]))
    return files


def write_own_files(guides, folder):
    count = 0
    for guide in guides:
        for name, lines in own_files(guide):
            target = folder / name
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_text("\n".join(lines) + "\n", encoding="utf-8")
            print(f"{guide}: {name}")
            count += 1
    if count == 0:
        print("no files announced in the guides", file=sys.stderr)
        return 1
    return 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--update", action="store_true", help="rewrite the blocks from the sources")
    parser.add_argument("--check", action="store_true", help="fail when a block differs (the default)")
    parser.add_argument("--extract", type=pathlib.Path, metavar="FOLDER", help="write the guide's own files into FOLDER")
    parser.add_argument("guides", nargs="+", type=pathlib.Path)
    arguments = parser.parse_args()
    if arguments.extract:
        try:
            return write_own_files(arguments.guides, arguments.extract)
        except ValueError as error:
            print(error, file=sys.stderr)
            return 1
    status = 0
    for guide in arguments.guides:
        text, problems = process(guide, arguments.update)
        if arguments.update and not problems:
            guide.write_text("\n".join(text) + "\n", encoding="utf-8")
        for problem in problems:
            print(problem, file=sys.stderr)
            status = 1
        count = sum(1 for line in text if ANNOUNCE.match(line))
        print(f"{guide}: {count} snippets {'updated' if arguments.update else 'checked'}")
    return status


if __name__ == "__main__":
    sys.exit(main())
