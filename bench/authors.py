#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""bench/authors.py [--make FILE]: how long the tools of script authors take over a large script.

The script has 5,000 lines, made of the functions of the examples, the cookbook, the tutorial and
the workloads, again and again under other names. Measured are kt check and kt fmt as programs, and
each request of kt lsp, as it stands and with mistakes in the middle. Shown are the median of the
rounds and the slowest one, in milliseconds of processor time: all of it is one thread, and on a
machine that does nothing else that is what one waits for. --make only writes the script.

Environment: KT (path of kt, default build/release/bin/kt), ROUNDS (9), LINES (5000).
"""
import json
import os
import pathlib
import re
import resource
import statistics
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
KT = os.environ.get("KT", str(ROOT / "build/release/bin/kt"))
ROUNDS = int(os.environ.get("ROUNDS", "9"))
LINES = int(os.environ.get("LINES", "5000"))


def sources():
    """Scripts without an error or a warning that stand for themselves."""
    texts = [path.read_text() for folder in ("examples", "bench/workloads")
             for path in sorted((ROOT / folder).rglob("*.kts"))]
    for page in ("cookbook", "tutorial"):
        text = (ROOT / f"docs/{page}.md").read_text()
        texts += re.findall(r"^```kts[^\n]*\n(.*?)^```", text, re.M | re.S)
    with tempfile.TemporaryDirectory() as folder:
        file = pathlib.Path(folder, "piece.kts")
        for text in texts:
            file.write_text(text)
            checked = subprocess.run([KT, "check", file], capture_output=True, check=False)
            if checked.returncode == 0 and not checked.stderr and "function" in text:
                yield text


def make_script(lines):
    pieces = list(sources())
    made = []
    count = 0
    turn = 0
    while count < lines:
        for piece in pieces:
            names = set(re.findall(r"^(?:function|var)\s+(\w+)", piece, re.M))
            for group in re.findall(r"^var\s+(.*?);", piece, re.M | re.S):
                names |= set(re.findall(r"(?:^|,)\s*(\w+)\s*=", group))
            turn += 1
            if names:
                pattern = r"(?<![\w.'\"])(" + "|".join(sorted(names)) + r")\b"
                piece = re.sub(pattern, lambda name: f"{name[1]}{turn}", piece)
            made.append(piece.rstrip() + "\n")
            count += made[-1].count("\n") + 1
            if count >= lines:
                break
    return "\n".join(made)


def without(text, mark):
    """The text without the `mark` at the end of a line in its middle."""
    at = text.index(mark, len(text) // 2)
    return text[:at] + text[at:].replace(mark, "\n", 1)


def broken(text):
    """Mistakes that are typed, by name."""
    middle = text.index("\n}\n", len(text) // 2)
    line = text.index(";\n", len(text) // 2)
    return {
        "a '}' is missing": text[:middle] + text[middle + 2:],
        "a '{' is missing": without(text, " {\n"),
        "a ')' is missing": without(text, ");\n"),
        "a ';' is missing": without(text, ";\n"),
        "a quote is missing": text[:line] + ";\n  print(\"abc);\n" + text[line + 2:],
        "half a statement": text[:line] + ";\n  orders.\n" + text[line + 2:],
        "a foreign word": text[:line] + ";\n  let x = 1;\n" + text[line + 2:],
        "a comment without end": text[:line] + ";\n  /* abc\n" + text[line + 2:],
        "a mistake in every function": re.sub(r"\n}\n", "\n  x = (1;\n}\n", text),
        "the first half": text[:len(text) // 2],
    }


class Server:
    """kt lsp with the script open."""

    def __init__(self, folder, text):
        self.process = subprocess.Popen([KT, "lsp"], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.id = 0
        self.version = 1
        self.uri = pathlib.Path(folder, "large.kts").as_uri()
        self.ask("initialize", {"processId": None, "rootUri": pathlib.Path(folder).as_uri(),
                                "capabilities": {}})
        self.tell("initialized", {})
        self.document = {"textDocument": {"uri": self.uri}}
        self.tell("textDocument/didOpen", {"textDocument": {
            "uri": self.uri, "languageId": "ktscript", "version": 1, "text": text}})
        self.wait(lambda message: "diagnostics" in message.get("params", {}))

    def clock(self):
        """Milliseconds that it has taken."""
        return int(pathlib.Path(f"/proc/{self.process.pid}/schedstat").read_text().split()[0]) / 1e6

    def send(self, message):
        data = json.dumps({"jsonrpc": "2.0", **message}).encode()
        self.process.stdin.write(b"Content-Length: %d\r\n\r\n%s" % (len(data), data))
        self.process.stdin.flush()

    def wait(self, is_wanted):
        while True:
            length = 0
            while (line := self.process.stdout.readline().strip()):
                name, value = line.split(b":")
                length = int(value) if name.lower() == b"content-length" else length
            if length == 0:
                raise EOFError("kt lsp has ended")
            message = json.loads(self.process.stdout.read(length))
            if is_wanted(message):
                return message

    def tell(self, method, params):
        self.send({"method": method, "params": params})

    def ask(self, method, params):
        self.id += 1
        self.send({"id": self.id, "method": method, "params": params})
        answer = self.wait(lambda message: message.get("id") == self.id)
        if "error" in answer:
            raise RuntimeError(f"{method}: {answer['error']}")
        return answer["result"]

    def change(self, changes):
        """Until what is wrong then is published: a change that leaves that as it was says nothing."""
        self.version += 1
        self.tell("textDocument/didChange", {
            "textDocument": {"uri": self.uri, "version": self.version}, "contentChanges": changes})
        published = self.wait(lambda message: "diagnostics" in message.get("params", {}))
        return published["params"]["diagnostics"]

    def end(self):
        self.ask("shutdown", None)
        self.tell("exit", None)
        self.process.wait()


def children():
    """Milliseconds that programs which have ended took."""
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return (usage.ru_utime + usage.ru_stime) * 1000


def measured(work, clock=children, before=lambda: None):
    times = []
    for _ in range(ROUNDS):
        before()
        start = clock()
        work()
        times.append(clock() - start)
    return statistics.median(times), max(times)


def show(name, times):
    print(f"{name:<44}{times[0]:8.1f}{times[1]:8.1f}", flush=True)


def run(*arguments):
    # 1: there are mistakes.
    status = subprocess.run([KT, *arguments], capture_output=True, check=False).returncode
    if status > 1:
        raise RuntimeError(f"kt {' '.join(map(str, arguments))} ends with {status}")


def measure_programs(folder, text):
    file = pathlib.Path(folder, "large.kts")
    file.write_text(text)
    rough = re.sub(r"(?m)^ +", "", text)
    show("kt check", measured(lambda: run("check", file)))
    show("kt fmt, laid out already", measured(lambda: run("fmt", file)))
    show("kt fmt, without indents",
         measured(lambda: run("fmt", file), before=lambda: file.write_text(rough)))
    for name, mistake in broken(text).items():
        file.write_text(mistake)
        show(f"kt check: {name}", measured(lambda: run("check", file)))
    file.write_text(text)


def word_range(text, line, word):
    start = text.split("\n")[line].index(word)
    return ({"line": line, "character": start}, {"line": line, "character": start + len(word)})


def measure_requests(server, text, title):
    lines = text.split("\n")
    middle = next(at for at in range(len(lines) // 2, len(lines)) if "print(" in lines[at])
    position, _ = word_range(text, middle, "print")
    inner = {"line": middle, "character": position["character"] + len("print(")}
    whole = {"start": {"line": 0, "character": 0}, "end": {"line": len(lines), "character": 0}}
    view = {"start": {"line": middle - 30, "character": 0}, "end": {"line": middle + 30, "character": 0}}
    function = next(at for at in range(middle, 0, -1) if lines[at].startswith("function "))
    name = {"line": function, "character": len("function ")}
    requests = {
        "completion": {"position": position}, "hover": {"position": position},
        "signatureHelp": {"position": inner}, "definition": {"position": name},
        "references": {"position": name, "context": {"includeDeclaration": True}},
        "documentHighlight": {"position": name}, "documentSymbol": {}, "foldingRange": {},
        "formatting": {"options": {"tabSize": 2, "insertSpaces": True}},
        "semanticTokens/full": {}, "semanticTokens/range": {"range": view},
        "codeAction": {"range": whole, "context": {"diagnostics": []}},
    }
    if title == "":
        requests["prepareRename"] = {"position": name}
        requests["rename"] = {"position": name, "newName": "renamedByBench"}
    turn = [0]

    def touch():
        """A change, so that no answer is left of the round before."""
        turn[0] += 1
        server.change([{"range": {"start": whole["end"], "end": whole["end"]}, "text": f"\nvar u{turn[0]}v;"
                        f"\nfunction f{turn[0]}() {{ return w{turn[0]}; }}"}])

    for request, params in requests.items():
        at_once = server.document | params
        show(f"kt lsp: {request}{title}",
             measured(lambda: server.ask(f"textDocument/{request}", at_once), server.clock, touch))


def measure_typing(server, text, name):
    """Typing there and back, each with the mistakes published."""
    times = []
    lines = text.split("\n")
    middle = next(at for at in range(len(lines) // 2, len(lines))
                  if lines[at].startswith("function ") and lines[at].endswith("{"))
    server.change([{"text": text}])
    place = {"line": middle, "character": len(lines[middle])}
    for turn in range(ROUNDS):
        typed = f" unknown{turn}(1);"
        end = {"line": middle, "character": place["character"] + (0 if turn == 0 else len(typed))}
        start = server.clock()
        server.change([{"range": {"start": place, "end": end}, "text": typed}])
        times.append(server.clock() - start)
    show(f"kt lsp: a change, published: {name}", (statistics.median(times), max(times)))


def main():
    text = make_script(LINES)
    if sys.argv[1:2] == ["--make"]:
        pathlib.Path(sys.argv[2]).write_text(text)
        return
    count = text.count("\n")
    print(f"{count} lines, {len(text)} characters; median and slowest of {ROUNDS} in ms")
    with tempfile.TemporaryDirectory() as folder:
        measure_programs(folder, text)
        server = Server(folder, text)
        measure_requests(server, text, "")
        measure_typing(server, text, "no mistake")
        for name, mistake in broken(text).items():
            measure_typing(server, mistake, name)
        server.end()
        server = Server(folder, broken(text)["a ')' is missing"])
        measure_requests(server, text, ", with a mistake")
        server.end()


if __name__ == "__main__":
    main()
