"""The example in the README is the one that is compiled and run: readme_example.py README EXAMPLE"""
import sys

readme, example = (open(path, encoding="utf-8").read() for path in sys.argv[1:])
if f"```c\n{example}```\n" not in readme:
    sys.exit(f"{sys.argv[1]} does not hold the text of {sys.argv[2]} as a C block")
