#!/usr/bin/env python3
"""Makes tables and plots of what scripts/bench has measured.

    report.py FIGURES DOCS    reads FIGURES (Google Benchmark's JSON, CSV); writes CSV, SVG and the tables in DOCS/README.md
"""

import csv
import json
import pathlib
import re
import sys

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams["svg.hashsalt"] = "ipseccfg"  # the same figures make the same file
from matplotlib import pyplot  # noqa: E402

TEXTS = {
    "Encode": "encode", "EncodePretty": "encode, indented",
    "EncodeIntoChannel": "encode into the channel, indented", "EncodeXmlrpcC": "xmlrpc-c", "EncodeFloor": "memcpy",
    "Decode": "decode", "DecodePretty": "decode, indented", "DecodeXmlrpcC": "xmlrpc-c", "DecodeFloor": "Expat alone",
    "DecodePrettyFloor": "Expat alone, indented", "Receive": "a whole receive",
}

# What each process has of its own: variables, and constants that hold addresses, which the dynamic linker fills in.
STATIC_DATA = {".data", ".bss", ".data.rel.ro"}


def fastest(path, time):
    """The fastest repetition in microseconds by one of its times, by name and number of rules, and what machine it was."""
    report = json.loads(path.read_text(encoding="utf-8"))
    times = {}
    for run in report["benchmarks"]:
        if run.get("run_type") == "aggregate" or "KiB" in run:
            continue
        parts = run["run_name"].split("/")
        rules = int(parts[1]) if len(parts) > 1 and parts[1].isdigit() else 0
        key = (parts[0], rules)
        times[key] = min(times.get(key, float("inf")), run[time])
    return times, report["context"]


def server_memory(path, device):
    """The most memory that a server had resident for 1,000 rules, in KiB: here, and as `device`, a document, says of another."""
    runs = json.loads(path.read_text(encoding="utf-8"))["benchmarks"]
    here = max(run["KiB"] for run in runs if run.get("run_type") != "aggregate" and "KiB" in run)
    row = re.search(r"## Memory\n.*?^\| 1000 \| \d+ \| (\d+) \|", device.read_text(encoding="utf-8"), re.S | re.M)
    return here, int(row.group(1))


def rows_of(path):
    with open(path, newline="", encoding="utf-8") as table:
        return list(csv.DictReader(table))


def write_csv(path, head, rows):
    with open(path, "w", newline="", encoding="utf-8") as table:
        writer = csv.writer(table, lineterminator="\n")
        writer.writerow(head)
        writer.writerows(rows)


def plot(path, title, ylabel, lines, log=False, level=None):
    figure, axes = pyplot.subplots(figsize=(7, 4))
    for label, points in lines:
        axes.plot(*zip(*sorted(points.items())), marker="o", label=label)
    if level is not None:
        axes.axhline(level[1], linestyle="--", color="grey", label=level[0])
    axes.set_xscale("log")
    if log:
        axes.set_yscale("log")
    else:
        axes.set_ylim(bottom=0)
    axes.set(title=title, xlabel="rules", ylabel=ylabel)
    axes.grid(True, which="both", alpha=0.3)
    axes.legend()
    save(figure, path)


def save(figure, path):
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})
    pyplot.close(figure)
    # Trailing blanks are the only thing that the plotting library leaves to be desired.
    path.write_text(re.sub(r"[ \t]+\n", "\n", path.read_text(encoding="utf-8")), encoding="utf-8")


def per_rule(times, name):
    return {rules: time / rules for (work, rules), time in times.items() if work == name and rules}


def ratio(times, above, below):
    return {rules: times[above, rules] / times[below, rules]
            for (work, rules) in times if work == above and (below, rules) in times}


def plot_sizes(path, rows):
    libraries = sorted({(row["architecture"], row["library"]) for row in rows})
    total = {key: 0 for key in libraries}
    sections = sorted({row["section"] for row in rows if row["section"].startswith(".")},
                      key=lambda name: -sum(int(row["bytes"]) for row in rows if row["section"] == name))
    figure, axes = pyplot.subplots(figsize=(8, 4))
    names = [f"{library}\n{architecture}" for architecture, library in libraries]
    for group in sections[:8] + [None]:
        height = []
        for key in libraries:
            mine = [row for row in rows if (row["architecture"], row["library"]) == key and row["section"].startswith(".")]
            chosen = [int(row["bytes"]) for row in mine
                      if (row["section"] == group if group else row["section"] not in sections[:8])]
            height.append(sum(chosen) / 1024)
        axes.bar(names, height, bottom=[total[key] for key in libraries], label=group or "the rest")
        for key, part in zip(libraries, height):
            total[key] += part
    axes.set(title="Size by section, stripped", ylabel="KiB")
    axes.tick_params(axis="x", labelsize=7)
    axes.legend(fontsize=7)
    save(figure, path)


def span(values, digits=2):
    low, high = min(values), max(values)
    return f"{low:.{digits}f} to {high:.{digits}f}"


def verdict(met):
    return "met" if met else "**missed**"


def targets(times, trips, server, memory, sizes):
    """The rows of the table of targets."""
    def memory_ratio(work):
        return [int(row["memory"]) / int(row["text"]) for row in memory
                if row["work"] == work and int(row["rules"]) >= 100]

    def between(values, low, high):
        return [value for rules, value in values.items() if low <= rules <= high]

    def spread(name):
        values = between(per_rule(times, name), 100, 50000)
        return max(values) / min(values) - 1

    encode = between(ratio(times, "EncodeXmlrpcC", "Encode"), 10, 10000)
    decode = list(ratio(times, "DecodeXmlrpcC", "Decode").values())
    floor = list(ratio(times, "Decode", "DecodeFloor").values())
    add = times["AddFilters", 10000] / 1e6
    trip = trips["RoundTrip", 10] / trips["BareStart", 0]
    deep_encode = times["EncodeAssociationsXmlrpcC", 2000] / times["EncodeAssociations", 2000]
    deep_decode = times["DecodeAssociationsXmlrpcC", 2000] / times["DecodeAssociations", 2000]
    rows = [
        ("encoding, times faster than xmlrpc-c, 10 to 10,000 rules", ">= 6", span(encode, 1), min(encode) >= 6),
        ("decoding to rules, times faster than xmlrpc-c", ">= 3", span(decode, 1), min(decode) >= 3),
        ("decoding to rules, times what Expat alone takes", "<= 1.35", span(floor), max(floor) <= 1.35),
        ("encoding, spread of the time per rule, 100 to 50,000 rules", "<= 15 %", f"{spread('Encode'):.0%}",
         spread("Encode") <= 0.15),
        ("decoding, spread of the time per rule, 100 to 50,000 rules", "<= 15 %", f"{spread('Decode'):.0%}",
         spread("Decode") <= 0.15),
        ("encoding 2 x 100 proposals of 10 transforms, times faster than xmlrpc-c", ">= 6", f"{deep_encode:.1f}", deep_encode >= 6),
        ("decoding them, times faster than xmlrpc-c", ">= 3", f"{deep_decode:.1f}", deep_decode >= 3),
        ("`addFilter` of 10,000 rules with IPv6 addresses", "<= 0.5 s", f"{add:.2f} s", add <= 0.5),
        ("memory while decoding, times the document", "<= 4", span(memory_ratio("decode"), 1),
         max(memory_ratio("decode")) <= 4),
        ("memory while encoding into the request channel, times the text", "<= 2", span(memory_ratio("encode-nowhere"), 1),
         max(memory_ratio("encode-nowhere")) <= 2),
        ("round trip of 10 rules, times the bare start of a process", "<= 1.25", f"{trip:.2f}", trip <= 1.25),
    ]
    here, there = server
    rows.append(("the server's resident memory for 1,000 rules", "<= 8 MiB",
                 f"{here / 1024:.1f} MiB; [on 32-bit ARM](../device.md) {there / 1024:.1f}", max(here, there) <= 8 * 1024))
    limits = {"libipseccfg": 100, "libsystemdata-parser": 60, "libsystemdata-requester": 30}
    for row in sizes:
        if row["architecture"] == "armhf" and row["section"] == "file":
            limit = limits[row["library"]]
            rows.append((f"`{row['library']}.so.1` on armhf, stripped", f"<= {limit} KiB", f"{int(row['bytes']) / 1024:.0f} KiB",
                         int(row["bytes"]) <= limit * 1024))
    static = {}
    for row in sizes:
        if row["architecture"] == "armhf" and row["section"] in STATIC_DATA:
            static[row["library"]] = static.get(row["library"], 0) + int(row["bytes"])
    if static:
        rows.append(("static data of each of the three on armhf", "<= 4 KiB",
                     f"{span([size / 1024 for size in static.values()], 1)} KiB", max(static.values()) <= 4096))
    return rows


def replace_part(text, name, content):
    pattern = re.compile(rf"(<!-- {name} -->\n).*?(\n<!-- end -->)", re.S)
    if not pattern.search(text):
        sys.exit(f"README.md has no place for {name}")
    return pattern.sub(lambda match: match.group(1) + content + match.group(2), text)


def main():
    figures, docs = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    times, context = fastest(figures / "codec.json", "cpu_time")
    trips, _ = fastest(figures / "round_trip.json", "fastest")
    server = server_memory(figures / "round_trip.json", docs.parent / "device.md")
    memory = rows_of(figures / "memory.csv")
    sizes = rows_of(figures / "sizes.csv")

    write_csv(docs / "times.csv", ["work", "rules", "microseconds"],
              [(work, rules, f"{time:.3f}") for (work, rules), time in sorted({**times, **trips}.items())])
    for name in ("memory", "sizes", "instructions"):
        (docs / f"{name}.csv").write_text((figures / f"{name}.csv").read_text(encoding="utf-8"), encoding="utf-8")

    plot(docs / "encode.svg", "Encoding: time per rule", "microseconds",
         [(TEXTS[name], per_rule(times, name)) for name in ("Encode", "EncodePretty", "EncodeIntoChannel", "EncodeXmlrpcC", "EncodeFloor")],
         log=True)
    plot(docs / "decode.svg", "Decoding: time per rule", "microseconds",
         [(TEXTS[name], per_rule(times, name))
          for name in ("Decode", "DecodePretty", "DecodeXmlrpcC", "DecodeFloor", "DecodePrettyFloor", "Receive")], log=True)
    plot(docs / "ratios.svg", "Times faster than xmlrpc-c", "ratio",
         [("encode", ratio(times, "EncodeXmlrpcC", "Encode")), ("decode", ratio(times, "DecodeXmlrpcC", "Decode"))])
    plot(docs / "floor.svg", "Decoding over Expat alone", "ratio",
         [("decode", ratio(times, "Decode", "DecodeFloor")),
          ("decode, indented", ratio(times, "DecodePretty", "DecodePrettyFloor"))], level=("target", 1.35))
    plot(docs / "memory.svg", "Most memory held, over the size of the text", "ratio",
         [(work, {int(row["rules"]): int(row["memory"]) / int(row["text"]) for row in memory if row["work"] == work})
          for work in dict.fromkeys(row["work"] for row in memory)])
    plot_sizes(docs / "sizes.svg", sizes)

    table = ["| what | target | measured | |", "|---|---|---|---|"]
    table += [f"| {what} | {target} | {measured} | {verdict(met)} |"
              for what, target, measured, met in targets(times, trips, server, memory, sizes)]
    machine = f"{context['date'][:10]}, {context['num_cpus']} processors of {context['mhz_per_cpu']} MHz, " \
              f"load {context['load_avg'][0]:.1f} at the beginning"
    readme = docs / "README.md"
    text = readme.read_text(encoding="utf-8")
    text = replace_part(text, "targets", "\n".join(table))
    text = replace_part(text, "machine", f"Measured {machine}.")
    readme.write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
