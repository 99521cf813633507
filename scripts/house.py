"""What the scripts beside this file share: running a tool, reading C and C++ text, and the one closing line.

A check that compared nothing, or that misses a tool or a file, has failed.
"""
import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.realpath(__file__)))
ME = os.path.basename(sys.argv[0])


def die(message):
  sys.exit(f"{ME}: {message}")


def arguments(*names):
  """The script's arguments; wrong ones end it with its usage."""
  if len(sys.argv) != 1 + len(names):
    die(f"usage: scripts/{ME} {' '.join(names)}".rstrip())
  return sys.argv[1:]


def finish(summary, compared, violations):
  """Lists every violation, or says in one line what was compared."""
  if compared == 0:
    violations = violations + ["there was nothing to compare"]
  for violation in violations:
    print(violation)
  if violations:
    die(f"{len(violations)} violations; {summary}")
  print(f"{ME}: {summary}")


def run(*command, text=None):
  """The standard output of a tool that has to succeed."""
  environment = dict(os.environ, LC_ALL="C")
  try:
    done = subprocess.run(command, input=text, capture_output=True, text=True, env=environment, check=False)
  except FileNotFoundError:
    die(f"{command[0]} is not installed")
  if done.returncode != 0:
    die(f"{' '.join(command)} failed:\n{done.stderr.strip()}")
  return done.stdout


def read(path):
  try:
    with open(path, encoding="utf-8") as file:
      return file.read()
  except (OSError, UnicodeDecodeError) as error:
    die(f"cannot read {path}: {error}")


def filesBelow(directory):
  """Every file below a directory by its path from there, sorted."""
  if not os.path.isdir(directory):
    die(f"{directory} is no directory")
  return sorted(os.path.relpath(os.path.join(folder, name), directory)
                for folder, _, names in os.walk(directory) for name in names)


COMMENT = r"//[^\n]*|/\*.*?\*/"
LITERAL = r'R"(?P<mark>[^\s()\\]*)\(.*?\)(?P=mark)"|"(?:\\.|[^"\\\n])*"|(?<![0-9A-Fa-f])\'(?:\\.|[^\'\\\n])*\''
TOKEN = re.compile(f"(?P<literal>{LITERAL})|{COMMENT}", re.DOTALL)


def blank(text, literals=True):
  """The text with comments, and literals unless told otherwise, turned into spaces; every line keeps its place."""
  def spaces(match):
    if match["literal"] and not literals:
      return match[0]
    return re.sub(r"[^\n]", " ", match[0])
  return TOKEN.sub(spaces, text)


def lineOf(text, position):
  return text.count("\n", 0, position) + 1


class Declaration:
  """One declaration with QVSUPT32_API: its header, the name it declares, whether that is a variable, and its first and
  last line from 1."""

  def __init__(self, header, name, variable, first, last):
    self.header, self.name, self.variable, self.first, self.last = header, name, variable, first, last


def declaredName(text):
  """The name that a declaration declares, or None."""
  text = re.sub(r"__attribute__\s*\(\((?:[^()]|\([^()]*\))*\)\)", "", text)
  if re.search(r"\bextern\b", text):
    found = re.search(r"\(\s*\*\s*(\w+)\s*\)\s*\(", text) or re.search(r"(\w+)\s*(?:\[[^\]]*\]\s*)*;$", text)
  else:
    found = re.search(r"(\w+)\s*\(", text)
  return found and found[1]


def declarations(include):
  """The declarations with QVSUPT32_API in all headers below a directory."""
  found = []
  for header in filesBelow(include):
    text = read(os.path.join(include, header))
    code = re.sub(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", lambda line: re.sub(r"[^\n]", " ", line[0]), blank(text),
                  flags=re.MULTILINE)
    for match in re.finditer(r"\bQVSUPT32_API\b[^;{}]*[;{}]?", code):
      name = declaredName(match[0]) if match[0].endswith(";") else None
      first, last = lineOf(code, match.start()), lineOf(code, match.end())
      if name is None:
        die(f"{header}:{first}: cannot tell what is declared here")
      found.append(Declaration(header, name, re.search(r"\bextern\b", match[0]) is not None, first, last))
  return found
