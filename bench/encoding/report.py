"""report.py RESULTS: tables in Markdown from what bench_encoding measured."""

import collections
import json
import sys

OURS = ["isPossibleUTF8", "isPossibleUTF16", "containsHighASCII", "sniffLineBreakType", "detectEncoding", "all rows"]


def medians(results):
    """{size: {text: {subject: run}}} of the medians."""
    tables = collections.defaultdict(lambda: collections.defaultdict(dict))
    for run in sorted(results["benchmarks"], key=lambda run: run["family_index"]):
        if run.get("aggregate_name") == "median":
            subject, text, size = run["run_name"].split("|")
            tables[size][text][subject] = run
    return tables


def print_table(head, rows):
    print("| " + " | ".join(head) + " |")
    print("|" + "---|" * len(head))
    for row in rows:
        print("| " + " | ".join(row) + " |")
    print()


def rate(run):
    return run["bytes_per_second"]


def peers_of(text):
    return [subject for subject in text if subject not in OURS and subject != "floor"]


def print_large(texts):
    print("Large texts: pace as a part of the floor (every byte read once, in vectors). What stops early is given in")
    print("nanoseconds.\n")
    rows = []
    for name, runs in texts.items():
        row = [name, f"{rate(runs['floor']) / 1e9:.1f} GB/s"]
        for subject in OURS:
            part = rate(runs[subject]) / rate(runs["floor"])
            row.append(f"{part:.2f}" if part < 2 else f"{runs[subject]['cpu_time']:.0f} ns")
        rows.append(row)
    print_table(["text", "floor", *OURS], rows)


def print_against_peers(texts):
    print("Large texts: detectEncoding in multiples of other libraries' pace, with their answers.\n")
    rows = []
    for name, runs in texts.items():
        row = [name, f"{rate(runs['detectEncoding']) / 1e6:.0f} MB/s"]
        for peer in peers_of(runs):
            times = rate(runs["detectEncoding"]) / rate(runs[peer])
            row.append(f"{times:.0f} × ({rate(runs[peer]) / 1e6:.0f} MB/s, {runs[peer].get('label', '?')})")
        rows.append(row)
    print_table(["text", "detectEncoding", *peers_of(runs)], rows)


def print_small(texts):
    print("Files of 4 KB in memory: microseconds each.\n")
    rows = []
    for name, runs in texts.items():
        shown = ["floor", "detectEncoding", "all rows", *peers_of(runs)]
        rows.append([name, *(f"{runs[subject]['cpu_time'] / 1e3:.2f}" for subject in shown)])
    print_table(["text", *shown], rows)


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        tables = medians(json.load(file))
    print_large(tables["large"])
    print_against_peers(tables["large"])
    print_small(tables["4 KB"])


main()
