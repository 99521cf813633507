"""What scripts/floors.txt says, for the scripts that hold the sources against it."""
import os
import re

import house

FLOORS = os.path.join(house.ROOT, "scripts", "floors.txt")


def readFloors(path):
  """The floor of every room in the table."""
  floors = {}
  for number, line in enumerate(house.read(path).splitlines(), 1):
    words = line.partition("#")[0].split()
    if not words:
      continue
    if len(words) != 2 or not re.fullmatch(r"\d+(\.5)?", words[0]) or words[1] in floors:
      house.die(f"{path}:{number}: wanted is a floor and a room that no other line names")
    floors[words[1]] = float(words[0])
  return floors


def roomOf(file, floors):
  """The room that a file below src/ belongs to, or None: the longest path that holds it."""
  place = stem(file)
  while place and place not in floors:
    place = place.rpartition("/")[0]
  return place or None


def includesOf(path):
  """Line number, quoted text and text in angle brackets of each #include of a file; one is empty, or both are."""
  text = house.blank(house.read(path), literals=False)
  for match in re.finditer(r"^[ \t]*#[ \t]*(?:include|include_next|import)\b(.*)$", text, re.MULTILINE):
    name = re.fullmatch(r'\s*(?:"([^"]+)"|<([^>]+)>)\s*', match[1])
    yield house.lineOf(text, match.start()), *((name[1] or "", name[2] or "") if name else ("", ""))


def stem(file):
  return re.sub(r"\.(h|cc)$", "", file)
