"""Compiler launcher: as_built.py BUILD COMPILER ARGUMENT...

An object that BUILD has compiled by the very same command is copied from there; everything else is
compiled. BUILD has to be up to date. A build that takes the source tree in then takes seconds, and
still tells by what command each of its files is compiled.
"""

import json
import os
import shlex
import shutil
import sys


def without_dependencies(command):
    """The command without what only asks for a list of headers, and that list's name and target."""
    kept, asked, arguments = [], {}, iter(command)
    for argument in arguments:
        if argument in ("-MF", "-MT", "-MQ"):
            asked[argument] = next(arguments)
        elif argument != "-MD":
            kept.append(argument)
    return kept, asked.get("-MF"), asked.get("-MT") or asked.get("-MQ")


def from_compiler(command):
    """The command without what stands before the compiler, like another launcher."""
    return command[next(at for at, word in enumerate(command) if word.startswith("-")) - 1:]


def object_of(command):
    return command[command.index("-o") + 1] if "-o" in command else None


def same(command, known):
    """Do they differ in nothing but the folder of the object?"""
    if len(command) != len(known):
        return False
    target = object_of(command)
    return all(one == other or one == target and one.endswith("/" + other)
               for one, other in zip(command, known))


def built(build, command):
    """The object in `build` that the command would make; None when there is none."""
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
        for entry in json.load(file):
            if entry["file"] != command[-1]:
                continue
            known = shlex.split(entry["command"])
            if same(from_compiler(command), from_compiler(known)):
                made = os.path.join(entry["directory"], object_of(known))
                return made if os.path.exists(made) else None
    return None


def main():
    build, command = sys.argv[1], sys.argv[2:]
    plain, dependencies, target = without_dependencies(command)
    made = built(build, plain) if object_of(plain) else None
    if not made:
        os.execvp(command[0], command)
    shutil.copyfile(made, object_of(plain))
    if dependencies:
        with open(dependencies, "w", encoding="utf-8") as file:
            file.write("{}: {}\n".format(target, plain[-1]))
    print("compiled as by itself: " + plain[-1])


if __name__ == "__main__":
    main()
