#!/usr/bin/python3
"""The plugin beside what a developer would otherwise use, on the same bytes.

Runs byte_methods_bench, text_methods_bench and analysis_bench (medians of
repetitions; the plugin's own time and the time through the host) and times
Python's and PHP's built-ins and Debian's string-metric packages on the inputs
peer_inputs writes, then prints Markdown tables with the ratios peer time /
plugin time, own and through the host (above 1: the plugin is faster).
Usage: peers.py BUILD_DIR [--repetitions N]
"""
import argparse
import json
import os
import platform
import statistics
import subprocess
import sys
import tempfile
import timeit

SIZES = [20, 1 << 10, 1 << 20]

# (benchmark row, input file, Python expression on d, PHP expression on $d)
ROWS = [
    ("EncodingToHex/text", "text", "binascii.hexlify(d)", "bin2hex($d)"),
    ("DecodingFromHex/text", "hex", "binascii.unhexlify(d)", "hex2bin($d)"),
    ("EncodingToURL/text", "text", "urllib.parse.quote_plus(d)", "urlencode($d)"),
    ("DecodingFromURL/text", "text", "urllib.parse.unquote_to_bytes(d.replace(b'+', b' '))", "urldecode($d)"),
    ("DecodingFromURL/dense", "url_dense", "urllib.parse.unquote_to_bytes(d.replace(b'+', b' '))", "urldecode($d)"),
    ("EncodingToQuotedPrintable/text", "text", "binascii.b2a_qp(d)", "quoted_printable_encode($d)"),
    ("DecodingFromQuotedPrintable/text", "text", "binascii.a2b_qp(d)", "quoted_printable_decode($d)"),
    ("DecodingFromQuotedPrintable/dense", "qp_dense", "binascii.a2b_qp(d)", "quoted_printable_decode($d)"),
    ("yDecodeString/typical", "yenc_typical", "sabyenc3.decode_usenet_chunks([yenc_article(d)])", None),
    ("CountOccurances_byte/text", "text", "d.count(b'e')", "substr_count($d, 'e')"),
    ("CountOccurances_word/text", "text", "d.count(b'wizard')", "substr_count($d, 'wizard')"),
    ("StringXOR/text", "text", None,
     "$d ^ substr(str_repeat('secret key', intdiv(strlen($d), 10) + 1), 0, strlen($d))"),
    ("ConcatBinaryStrings/text", "text", "d + b'tail'", "$d . 'tail'"),
    ("IsASCIIString/text", "text", "d.isascii()", "!preg_match('/[\\x80-\\xFF]/', $d)"),
    ("EncodingToURL/query", "query_values", "urllib.parse.quote_plus(d)", "urlencode($d)"),
    ("EncodingToURL/nonlatin", "url_dense_text", "urllib.parse.quote_plus(d)", "urlencode($d)"),
    ("DecodingFromURL/query", "url_query", "urllib.parse.unquote_to_bytes(d.replace(b'+', b' '))", "urldecode($d)"),
    ("DecodingFromURL/nonlatin", "url_dense_real", "urllib.parse.unquote_to_bytes(d.replace(b'+', b' '))",
     "urldecode($d)"),
    ("EncodingToQuotedPrintable/crlf_prose", "crlf_prose", "binascii.b2a_qp(d)", "quoted_printable_encode($d)"),
    ("DecodingFromQuotedPrintable/mail", "qp_mail", "binascii.a2b_qp(d)", "quoted_printable_decode($d)"),
    ("DecodingFromQuotedPrintable/paragraphs", "qp_paragraphs", "binascii.a2b_qp(d)", "quoted_printable_decode($d)"),
    ("DecodingFromMySQL/dump", "mysql_dump", None, "stripcslashes($d)"),
    ("CountOccurances_the/prose", "accented_prose", "d.count(b'the')", "substr_count($d, 'the')"),
]

# The text methods, from text_methods_bench. Python works on s, the bytes
# decoded from UTF-8 outside the timing, as a Python program holds text.
TEXT_ROWS = [
    ("EncodingToHTML/text", "text", "html.escape(s)", "htmlentities($d)"),
    ("EncodingToHTML/dense", "html_dense", "html.escape(s)", "htmlentities($d)"),
    ("DecodingFromHTML/text", "text", "html.unescape(s)", "html_entity_decode($d)"),
    ("DecodingFromHTML/dense", "html_references", "html.unescape(s)", "html_entity_decode($d)"),
    ("RemoveHTMLTags/text", "text", "re.sub(r'<[^>]*>', '', s)", "strip_tags($d)"),
    ("RemoveHTMLTags/dense", "tagged", "re.sub(r'<[^>]*>', '', s)", "strip_tags($d)"),
    ("EncodingToISO8859/dense", "latin", "s.encode('latin-1', 'replace')",
     "mb_convert_encoding($d, 'ISO-8859-1', 'UTF-8')"),
    ("EncodingToCP1252/dense", "latin", "s.encode('cp1252', 'replace')",
     "mb_convert_encoding($d, 'Windows-1252', 'UTF-8')"),
    ("DecodingFromISO8859/text", "text", "d.decode('latin-1')", "mb_convert_encoding($d, 'UTF-8', 'ISO-8859-1')"),
    ("DecodingFromISO8859/dense", "random", "d.decode('latin-1')", "mb_convert_encoding($d, 'UTF-8', 'ISO-8859-1')"),
    ("DecodingFromCP1252/text", "text", "d.decode('cp1252', 'replace')",
     "mb_convert_encoding($d, 'UTF-8', 'Windows-1252')"),
    ("DecodingFromCP1252/dense", "random", "d.decode('cp1252', 'replace')",
     "mb_convert_encoding($d, 'UTF-8', 'Windows-1252')"),
    ("EncodingToHTML/html_like", "html_like", "html.escape(s)", "htmlentities($d)"),
    ("DecodingFromHTML/page", "html_page", "html.unescape(s)", "html_entity_decode($d)"),
    ("RemoveHTMLTags/page", "html_page", "re.sub(r'<[^>]*>', '', s)", "strip_tags($d)"),
    ("EncodingToISO8859/prose", "accented_prose", "s.encode('latin-1', 'replace')",
     "mb_convert_encoding($d, 'ISO-8859-1', 'UTF-8')"),
    ("EncodingToCP1252/prose", "accented_prose", "s.encode('cp1252', 'replace')",
     "mb_convert_encoding($d, 'Windows-1252', 'UTF-8')"),
    ("DecodingFromISO8859/prose", "latin1_prose", "d.decode('latin-1')", "mb_convert_encoding($d, 'UTF-8', 'ISO-8859-1')"),
    ("DecodingFromCP1252/prose", "latin1_prose", "d.decode('cp1252', 'replace')",
     "mb_convert_encoding($d, 'UTF-8', 'Windows-1252')"),
]


DISTANCE_SIZES = [20, 1000, 10000]

# The edit distances, from analysis_bench, on pairs of random letters and
# digits and of CJK ideographs. Peers: (column, Python or PHP expression on
# the texts a and b, the largest size it runs at). jellyfish's Damerau-
# Levenshtein is the unrestricted distance and keeps a full matrix (about 800
# MB at 10,000 units); python-Levenshtein's and PHP's distance is the plain
# Levenshtein distance, PHP's over bytes, so not on CJK text.
DISTANCE_PEERS = ["jellyfish", "python-Levenshtein", "PHP"]
DISTANCE_ROWS = [
    ("Levenshtein", {"jellyfish": ("jellyfish.damerau_levenshtein_distance(a, b)", 1000),
                     "python-Levenshtein": ("Levenshtein.distance(a, b)", 10000),
                     "PHP": ("levenshtein($d, $e)", 10000)}),
    ("JaroWinkler", {"jellyfish": ("jellyfish.jaro_winkler_similarity(a, b)", 10000),
                     "python-Levenshtein": ("Levenshtein.jaro_winkler(a, b)", 10000)}),
]


def yenc_article(body):
    # sabyenc decodes whole articles: the smallest header it accepts.
    return (b"=ybegin part=1 line=128 size=%d name=x\r\n=ypart begin=1 end=%d\r\n" % (len(body), len(body)) + body +
            b"\r\n=yend size=%d part=1 pcrc32=00000000\r\n" % len(body))


def median_per_call(run_batch, repetitions):
    """Median over repetitions of the time per call, in ns; batches of at least 50 ms."""
    number = 1
    while True:
        t = run_batch(number)
        if t >= 0.05:
            break
        number *= 2 if t <= 0 else max(2, int(0.06 / t))
    return statistics.median(run_batch(number) / number for _ in range(repetitions)) * 1e9


def python_ns(expr, data, repetitions):
    import binascii, html, re, urllib.parse  # noqa: F401  (used by the expressions)
    try:
        import sabyenc3  # noqa: F401
    except ImportError:
        if "sabyenc3" in expr:
            return None
    env = {"d": data, "s": data.decode("utf-8", "replace"), "binascii": binascii, "html": html, "re": re,
           "urllib": urllib, "yenc_article": yenc_article}
    if "sabyenc3" in expr:
        env["sabyenc3"] = sys.modules["sabyenc3"]
        body = yenc_article(data)
        env["d"] = body  # the framing is built once, outside the timing
        expr = "sabyenc3.decode_usenet_chunks([d])"
    return median_per_call(lambda n: timeit.timeit(expr, globals=env, number=n), repetitions)


PHP_TIMER = r"""<?php
$d = file_get_contents($argv[1]);
$reps = intval($argv[2]);
$e = isset($argv[3]) ? file_get_contents($argv[3]) : '';
$f = function($d, $e) { return %s; };
$n = 1;
while (true) {
  $t0 = hrtime(true); for ($i = 0; $i < $n; $i++) { $r = $f($d, $e); } $t = (hrtime(true) - $t0) / 1e9;
  if ($t >= 0.05) break;
  $n *= $t <= 0 ? 2 : max(2, intval(0.06 / $t));
}
$runs = [];
for ($k = 0; $k < $reps; $k++) {
  $t0 = hrtime(true); for ($i = 0; $i < $n; $i++) { $r = $f($d, $e); } $runs[] = (hrtime(true) - $t0) / $n;
}
sort($runs);
echo $runs[intdiv(count($runs), 2)], "\n";
"""


def php_ns(expr, path, repetitions, second=None):
    if expr is None:
        return None
    with tempfile.NamedTemporaryFile("w", suffix=".php", delete=False) as f:
        f.write(PHP_TIMER % expr)
    try:
        out = subprocess.run(["php", f.name, path, str(repetitions)] + ([second] if second else []),
                             capture_output=True, text=True, check=True)
        return float(out.stdout.strip())
    except (OSError, subprocess.CalledProcessError):
        return None
    finally:
        os.unlink(f.name)


def plugin_ns(bench, rows, size, repetitions):
    """{row: (plugin ns, through-host ns)} from the medians of repetitions; one process per size."""
    names = "|".join(r[0] for r in rows)
    out = subprocess.run([bench, f"--benchmark_filter=^({names})/{size}$", f"--benchmark_repetitions={repetitions}",
                          "--benchmark_report_aggregates_only=true", "--benchmark_format=json",
                          "--benchmark_min_time=0.1"], capture_output=True, text=True, check=True)
    result = {}
    for b in json.loads(out.stdout)["benchmarks"]:
        if b.get("aggregate_name") != "median":
            continue
        row = b["run_name"].rsplit("/", 1)[0]
        result[row] = (b["plugin_ns"], b["plugin_ns"] + b["services_ns"])
    return result


def fmt_ns(ns):
    if ns is None:
        return "-"
    if ns >= 1e6:
        return f"{ns / 1e6:.2f} ms"
    if ns >= 1e3:
        return f"{ns / 1e3:.1f} us"
    return f"{ns:.0f} ns"


def ratio(peer, own, via):
    """Peer time over the plugin's own time and over its time through the host."""
    if peer is None or not own or not via:
        return "-"
    return f"{peer / own:.1f}x / {peer / via:.1f}x"


def distance_python_ns(expr, a, b, repetitions):
    try:
        import jellyfish  # noqa: F401
        import Levenshtein  # noqa: F401
    except ImportError:
        return None
    env = {"a": a, "b": b, "jellyfish": jellyfish, "Levenshtein": Levenshtein}
    return median_per_call(lambda n: timeit.timeit(expr, globals=env, number=n), repetitions)


def distance_table(build, inputs, repetitions):
    """The edit distances beside the string-metric packages and PHP."""
    out = subprocess.run([os.path.join(build, "bench", "analysis_bench"), "--benchmark_filter=^BM_Distance_Host/",
                          f"--benchmark_repetitions={repetitions}", "--benchmark_report_aggregates_only=true",
                          "--benchmark_format=json", "--benchmark_min_time=0.1"],
                         capture_output=True, text=True, check=True)
    plugin = {}
    for b in json.loads(out.stdout)["benchmarks"]:
        if b.get("aggregate_name") == "median":
            _, method, size, cjk = b["run_name"].split("/")
            plugin[(method, int(size), cjk == "1")] = (b["plugin_ns"], b["plugin_ns"] + b["services_ns"])
    print("\n| Method / text | Units | Plugin | Through host | " +
          " | ".join(f"{p} | {p} ÷ plugin (own / host)" for p in DISTANCE_PEERS) + " |")
    print("|---|---:|---:|---:|" + "---:|---:|" * len(DISTANCE_PEERS))
    for method, peers in DISTANCE_ROWS:
        for cjk in (False, True):
            kind = "cjk" if cjk else "alphanumeric"
            for size in DISTANCE_SIZES:
                pa = os.path.join(inputs, f"distance_{kind}_a_{size}")
                pb = os.path.join(inputs, f"distance_{kind}_b_{size}")
                a, b = (open(p, encoding="utf-8").read() for p in (pa, pb))
                own, via = plugin.get((method, size, cjk), (None, None))
                cells = []
                for peer in DISTANCE_PEERS:
                    expr, largest = peers.get(peer, (None, 0))
                    t = None
                    if expr is not None and size <= largest:
                        if peer == "PHP":
                            t = None if cjk else php_ns(expr, pa, repetitions, pb)
                        else:
                            t = distance_python_ns(expr, a, b, repetitions)
                    cells.append(f"{fmt_ns(t)} | {ratio(t, own, via)}")
                print(f"| {method} / {kind} | {size} | {fmt_ns(own)} | {fmt_ns(via)} | " + " | ".join(cells) + " |",
                      flush=True)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("build")
    ap.add_argument("--repetitions", type=int, default=5)
    args = ap.parse_args()
    benches = [(os.path.join(args.build, "bench", "byte_methods_bench"), ROWS),
               (os.path.join(args.build, "bench", "text_methods_bench"), TEXT_ROWS)]
    inputs = tempfile.mkdtemp(prefix="ztk-peers-")
    subprocess.run([os.path.join(args.build, "bench", "peer_inputs"), inputs], check=True)
    cpu = next((l.split(":", 1)[1].strip() for l in open("/proc/cpuinfo") if l.startswith("model name")), "?")
    php = subprocess.run(["php", "-r", "echo PHP_VERSION;"], capture_output=True, text=True).stdout or "none"
    print(f"Machine: {cpu}, {os.cpu_count()} vCPU, {platform.system()} {platform.release()}; "
          f"Python {platform.python_version()}, PHP {php}; medians of {args.repetitions} repetitions.\n")
    print("| Method / input | Size | Plugin | Through host | Python | Python ÷ plugin (own / host) | PHP | "
          "PHP ÷ plugin (own / host) |")
    print("|---|---:|---:|---:|---:|---:|---:|---:|")
    for size in SIZES:
        plugin = {}
        for bench, rows in benches:
            plugin.update(plugin_ns(bench, rows, size, args.repetitions))
        for row, name, py, ph in ROWS + TEXT_ROWS:
            path = os.path.join(inputs, f"{name}_{size}")
            data = open(path, "rb").read()
            own, via = plugin.get(row, (None, None))
            p = python_ns(py, data, args.repetitions) if py else None
            q = php_ns(ph, path, args.repetitions)
            print(f"| {row} | {size} | {fmt_ns(own)} | {fmt_ns(via)} | {fmt_ns(p)} | {ratio(p, own, via)} | "
                  f"{fmt_ns(q)} | {ratio(q, own, via)} |", flush=True)
    distance_table(args.build, inputs, args.repetitions)


if __name__ == "__main__":
    main()
