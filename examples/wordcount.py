#!/usr/bin/env python3
"""wordcount.py DATA.csv VARIABLE: has the backend run the Java extension WordCount on a string variable, and prints what it
put into the output. The jar comes from the build; VEXA_HOME names the home of the backend's installation.
"""
import os
import sys

HOME = os.environ.get("VEXA_HOME") or sys.exit("wordcount: VEXA_HOME must name the home directory of the backend")
sys.path.insert(0, os.path.join(HOME, "lib", "python"))
import vexaxd

JARS = os.path.join(os.path.dirname(HOME.rstrip("/")), "examples")  # the build stages it beside the home

BLOCK = """LANGUAGE JAVAEXTENSION.
WordCount /PATH="{path}"
{variable}
END LANGUAGE.
"""


def texts(expression):
    return vexaxd.EvaluateXPath("output", "", expression)


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: wordcount.py DATA.csv VARIABLE")
    with vexaxd.session(f'-data "{os.path.abspath(sys.argv[1])}"'):
        code = 0
        try:
            vexaxd.Submit(BLOCK.format(path=JARS, variable=sys.argv[2]))
        except vexaxd.Error as error:
            code = error.code
        vexaxd.CreateXPathDictionary("output")
        for word, count in zip(texts("//cell/at[@dimension='Word']/@category"), texts("//cell/@value")):
            print(f"{count:>4}  {word}")
        print("".join(texts("//text/text()")), end="")
    if code != 0:
        sys.exit(f"wordcount: code {code}")


if __name__ == "__main__":
    main()
