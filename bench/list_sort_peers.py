#!/usr/bin/env python3
"""The Python peers of the table sort benchmark (list_sort_bench.cpp).

Usage: list_sort_peers.py sorted|pandas TABLE.tsv REPETITIONS

Reads the table (integer, string, integer row id; tab-separated, no quoting),
then sorts it REPETITIONS times by the first column and then the second,
timing only the sort and the freeing of its result. Prints one line per
repetition, "time SECONDS", and at the end "order CHECKSUM", a checksum of
the row ids in sorted order that the benchmark compares with its own.
"""
import sys
import time

MASK = (1 << 61) - 1


def checksum(ids):
    total = 0
    for position, row_id in enumerate(ids):
        total = (total + (position + 1) * (row_id + 1)) & MASK
    return total


def with_sorted(path, repetitions):
    rows = []
    with open(path, encoding="utf-8") as f:
        for line in f:
            number, text, row_id = line.rstrip("\n").split("\t")
            rows.append([int(number), text, int(row_id)])
    ids = None
    for _ in range(repetitions):
        start = time.perf_counter()
        result = sorted(rows, key=lambda r: (r[0], r[1]))
        sorted_at = time.perf_counter()
        if ids is None:
            ids = [r[2] for r in result]  # not timed
        freeing = time.perf_counter()
        del result
        print("time", sorted_at - start + time.perf_counter() - freeing, flush=True)
    print("order", checksum(ids))


def with_pandas(path, repetitions):
    import csv
    import pandas as pd

    frame = pd.read_csv(path, sep="\t", header=None, names=["n", "s", "id"], quoting=csv.QUOTE_NONE,
                        keep_default_na=False, dtype={"n": "int64", "s": "object", "id": "int64"})
    frame.head(1000).sort_values(["n", "s"], kind="stable")  # first-use set-up, untimed
    ids = None
    for _ in range(repetitions):
        start = time.perf_counter()
        result = frame.sort_values(["n", "s"], kind="stable")
        sorted_at = time.perf_counter()
        if ids is None:
            ids = result["id"].tolist()  # not timed
        freeing = time.perf_counter()
        del result
        print("time", sorted_at - start + time.perf_counter() - freeing, flush=True)
    print("order", checksum(ids))


if __name__ == "__main__":
    peer, path, repetitions = sys.argv[1], sys.argv[2], int(sys.argv[3])
    {"sorted": with_sorted, "pandas": with_pandas}[peer](path, repetitions)
