# SPDX-License-Identifier: Apache-2.0
"""Summarises the runs of bench/compare.sh: medians, ratios, memory, budgets.

  summarise.py RESULTS PAGE...

RESULTS holds one line per run: "name milliseconds peak-kB", the name
"filter:PAGE:TYPE", "baseline:PAGE:TYPE" or "TOOL:PAGE".
"""
import statistics
import sys
from collections import defaultdict

TYPES = ["None", "FloydSteinberg", "Ordered", "Burkes", "Stucki", "JarvisJudiceNinke", "Sierra",
         "StevensonArce", "Tattoo", "Tattoo_Q6"]
ORDERED = {"None", "FloydSteinberg", "StevensonArce"}
TATTOO = {"Tattoo", "Tattoo_Q6"}
PEERS = [("threshold", "pamditherbw -threshold"), ("fs", "pamditherbw -fs"), ("pillow", "Pillow convert('1')"),
         ("gm", "gm unsharp + monochrome")]


def pixels(page):
    dpi = int(page.split("-")[1])
    return ((210 * dpi * 10 + 127) // 254) * ((297 * dpi * 10 + 127) // 254)


def main():
    times = defaultdict(list)
    memory = defaultdict(list)
    with open(sys.argv[1]) as results:
        for line in results:
            name, ms, kb = line.split()
            times[name].append(int(ms))
            memory[name].append(int(kb))
    pages = sys.argv[2:]
    median = {name: statistics.median(values) for name, values in times.items()}
    peak = {name: max(values) for name, values in memory.items()}
    runs = min(len(values) for values in times.values())
    has_baseline = any(name.startswith("baseline:") for name in times)

    for page in pages:
        px = pixels(page)
        print(f"\n{page}: {px / 1e6:.2f} Mpx, medians of {runs} runs (ms), ratios of medians")
        print("  " + "  ".join(f"{label}: {median[f'{key}:{page}']:.0f} ms" for key, label in PEERS))
        header = f"  {'type':<18}{'ms':>7}" + "".join(f"{'x ' + key:>13}" for key, _ in PEERS) + f"{'B/px':>7}"
        print(header + (f"{'x before':>10}{'B/px before':>13}" if has_baseline else ""))
        for kind in TYPES:
            name = f"filter:{page}:{kind}"
            row = f"  {kind:<18}{median[name]:>7.0f}"
            row += "".join(f"{median[name] / median[f'{key}:{page}']:>13.3f}" for key, _ in PEERS)
            row += f"{peak[name] * 1024 / px:>7.2f}"
            before = f"baseline:{page}:{kind}"
            if before in median:
                row += f"{median[name] / median[before]:>10.3f}{peak[before] * 1024 / px:>13.2f}"
            print(row)

    page = "photo-300"
    if page not in pages:
        return
    px = pixels(page)
    print(f"\nBudgets (A4 photo page at 300 dpi, whole process):")
    verdicts = []

    def budget(text, value, limit):
        met = value <= limit
        verdicts.append(met)
        print(f"  {text:<58} {value:8.3f} <= {limit:<5} {'met' if met else 'NOT MET'}")

    for kind in TYPES:
        name = f"filter:{page}:{kind}"
        if kind in ORDERED:
            budget(f"{kind} / pamditherbw -threshold", median[name] / median[f"threshold:{page}"], 0.8)
        elif kind in TATTOO:
            budget(f"{kind} / gm unsharp + monochrome", median[name] / median[f"gm:{page}"], 0.08)
        else:
            budget(f"{kind} / pamditherbw -fs", median[name] / median[f"fs:{page}"], 0.2)
    dither_bpp = max(peak[f"filter:{page}:{k}"] for k in TYPES if k not in TATTOO) * 1024 / px
    tattoo_bpp = max(peak[f"filter:{page}:{k}"] for k in TATTOO) * 1024 / px
    budget("peak memory, dither path (bytes per pixel)", dither_bpp, 3)
    budget("peak memory, tattoo path (bytes per pixel)", tattoo_bpp, 5)
    job = "filter:photo-300-x20:None"
    one = "filter:photo-300-x1:None"
    budget("20-page job / one page (None)", median[job] / median[one], 18)
    # Within 1 %: peak resident memory varies by a few pages from run to run.
    budget("20-page job peak memory / one page's (None)", peak[job] / peak[one], 1.01)
    if f"baseline:{job.split(':', 1)[1]}" in median:
        before = f"baseline:{job.split(':', 1)[1]}"
        print(f"  (before: 20-page job {median[before]:.0f} ms, {peak[before] * 1024 / px:.2f} B/px of one page)")
    print(f"  20-page job: {median[job]:.0f} ms, peak {peak[job]} kB; one page: {median[one]:.0f} ms, peak {peak[one]} kB")
    print(f"\n{sum(verdicts)} of {len(verdicts)} budgets met")


if __name__ == "__main__":
    main()
