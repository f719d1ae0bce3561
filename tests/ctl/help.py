"""What the program's own help lists: its commands and options. Its layout differs from one version of CLI11 to another."""

import re
import subprocess

import harness


def help_of(*command):
    return subprocess.run([harness.CTL, *command, "--help"], check=True, capture_output=True, text=True).stdout


def commands():
    """The commands in the order in which --help lists them."""
    listed = re.split("^subcommands:", help_of(), maxsplit=1, flags=re.IGNORECASE | re.MULTILINE)[1]
    return re.findall(r"^  ([a-z]+) ", listed, re.MULTILINE)


def options(*command):
    """The options of a command, or of the program, in their long form where they have one."""
    found = set()
    for line in help_of(*command).splitlines():
        words = re.match(r" +(-[-\w]+(?:, *-[-\w]+)*)", line)
        if words:
            found.add(max(re.split(", *", words[1]), key=len))
    return found
