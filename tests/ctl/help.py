"""What the program's own help lists: its commands and options."""

import re
import subprocess

import harness


def help_of(*command):
    return subprocess.run([harness.CTL, *command, "--help"], check=True, capture_output=True, text=True).stdout


def commands():
    """The commands in the order in which --help lists them."""
    listed = help_of().split("Subcommands:", 1)[1]
    return re.findall(r"^  ([a-z]+) ", listed, re.MULTILINE)


def options(*command):
    """The options of a command, or of the program, in their long form where they have one."""
    found = set()
    for line in help_of(*command).splitlines():
        words = re.match(r" +(-[-\w]+(?:,-[-\w]+)*)", line)
        if words:
            found.add(max(words[1].split(","), key=len))
    return found
