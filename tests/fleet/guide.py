"""The commands and questions of docs/fleet.md, as they stand there."""
from engines import Failure


class Guide:
    def __init__(self, path):
        """Takes each block by the title above it and its language."""
        self.blocks = {}
        title, language, lines = None, None, []
        with open(path) as file:
            for line in file:
                if line.startswith("```"):
                    if language is not None:
                        self.blocks.setdefault((title, language), "".join(lines))
                    language = line[3:].strip() if language is None else None
                    lines = []
                elif language is not None:
                    lines.append(line)
                elif line.startswith("#"):
                    title = line.lstrip("#").strip()

    def block(self, title, language):
        """The first block of a language below a title."""
        if (title, language) not in self.blocks:
            raise Failure(f"docs/fleet.md has no block of {language} below {title}")
        return self.blocks[title, language]
