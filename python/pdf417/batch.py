"""Reads many image files across a Dask cluster, one task per page, and
writes what ``pdf417read --json`` writes for them, in input order.

    python3 -m pdf417.batch [--scheduler ADDRESS] [--workers N] FILES_OR_GLOBS... > results.jsonl

Without --scheduler a local cluster of N worker processes is started (one
per core by default). With --scheduler the workers read the files by the
same paths (a shared file system), or get them from this process with
--send-files. Every worker needs the pdf417 package installed.

Errors go to stderr as ``pdf417.batch: FILE[:PAGE]: REASON`` and the exit
status is pdf417read's: 0 when a symbol was decoded, 1 when none was, 2
when a file or page could not be read (or its task failed after its
retries).
"""

from __future__ import annotations

import argparse
import contextlib
import glob
import os
import sys
import time

from . import _pdf417

PROGRAM = "pdf417.batch"


def read_page(source, page, name, threshold, decoded_only, charset):
    """The task: reads page `page` (from 0) of a file given by path or as
    bytes. Returns (page count, JSON lines, decoded, error): the error is the
    reason the file or page could not be read, and None otherwise."""
    try:
        if not isinstance(source, bytes):
            with open(source, "rb") as f:
                source = f.read()
        file = _pdf417.OpenFile(source)
    except OSError as e:  # _pdf417.ImageError too
        return 0, [], False, e.strerror or str(e)
    try:
        result = file.read_page(page, threshold)
    except _pdf417.ImageError as e:
        return file.page_count, [], False, str(e)
    lines = result.json_lines(os.fsencode(name), page + 1, decoded_only, charset)
    return file.page_count, lines, result.decoded, None


def expand(arguments):
    """Each argument that contains a wildcard becomes the files it matches,
    in sorted order; the others stay as they are. Returns (names, errors)."""
    names, errors = [], []
    for argument in arguments:
        if glob.has_magic(argument):
            matches = sorted(glob.glob(argument, recursive=True))
            if not matches:
                errors.append((argument, "no file matches"))
            names += matches
        else:
            names.append(argument)
    return names, errors


class Progress:
    """"[####......] done/total pages" on stderr, redrawn at most ten times a
    second, when stderr is a terminal."""

    def __init__(self, enabled):
        self.enabled = enabled
        self.shown = False
        self.last = 0.0

    def update(self, done, total, force=False):
        now = time.monotonic()
        if not self.enabled or (not force and now - self.last < 0.1):
            return
        self.last = now
        filled = done * 30 // max(total, 1)
        sys.stderr.write(f"\r[{'#' * filled}{'.' * (30 - filled)}] {done}/{total} pages\033[K")
        sys.stderr.flush()
        self.shown = True

    def clear(self):
        if self.shown:
            sys.stderr.write("\r\033[K")
            sys.stderr.flush()
            self.shown = False


class Run:
    """Submits the tasks and writes their results in input order: the first
    page of every file first (its result tells how many pages there are),
    then the file's other pages."""

    def __init__(self, client, names, options, out):
        self.client, self.names, self.options, self.out = client, names, options, out
        self.sources = {}  # file index -> path, or future of its bytes
        self.results = {}  # (file index, page) -> task result
        self.page_counts = {}  # file index -> pages (0 when the file could not be read)
        self.next = (0, 0)  # the next (file, page) to write
        self.decoded = self.failed = False
        self.done = 0
        self.seconds = 0.0
        self.progress = Progress(options.progress)

    def run(self):
        """Returns pdf417read's exit status for the run."""
        from distributed import as_completed

        start = time.monotonic()
        self.pending, self.owner = as_completed(), {}
        for f in range(len(self.names)):
            try:
                self.sources[f] = self.source(f)
            except OSError as e:
                self.finish(f, 0, (0, [], False, e.strerror))
                continue
            self.submit(f, 0)
        for future in self.pending:
            f, page = self.owner.pop(future.key)
            try:
                result = future.result()
            except Exception as e:  # the task failed after its retries, or its worker died
                result = (self.page_counts.get(f, 0), [], False, f"task failed: {e!r}")
            future.release()
            if page == 0:
                for later in range(1, result[0]):
                    self.submit(f, later)
            self.finish(f, page, result)
        self.seconds = time.monotonic() - start
        self.progress.update(self.done, self.total(), force=True)
        self.progress.clear()
        return 2 if self.failed else 0 if self.decoded else 1

    def source(self, f):
        if not self.options.send_files:
            return self.names[f]
        with open(self.names[f], "rb") as file:
            return self.client.scatter(file.read())

    def submit(self, f, page):
        o = self.options
        future = self.client.submit(read_page, self.sources[f], page, self.names[f], o.threshold, o.decoded_only,
                                    o.charset, key=f"pdf417-page-{o.token}-{f}-{page}", retries=o.retries,
                                    pure=False)
        self.owner[future.key] = (f, page)
        self.pending.add(future)

    def finish(self, f, page, result):
        if page == 0:
            self.page_counts[f] = result[0]
        self.results[(f, page)] = result
        self.done += 1
        while self.next in self.results:
            self.write(*self.next, *self.results.pop(self.next))
        self.progress.update(self.done, self.total())

    def write(self, f, page, count, lines, decoded, error):
        count = self.page_counts[f]
        self.decoded |= decoded
        self.progress.clear()
        if error is not None:
            self.failed = True
            where = f"{self.names[f]}:{page + 1}" if count > 1 else self.names[f]
            print(f"{PROGRAM}: {where}: {error}", file=sys.stderr, flush=True)
        if lines:
            self.out.write("".join(line + "\n" for line in lines))
            self.out.flush()
        self.next = (f, page + 1) if page + 1 < count else (f + 1, 0)
        if self.next[0] != f:
            self.sources.pop(f, None)  # with --send-files, lets the cluster drop the file's bytes

    def total(self):
        """Pages known so far: a file not yet opened, or not readable, counts as one."""
        return sum(self.page_counts.get(f) or 1 for f in range(len(self.names)))


def parse(argv):
    parser = argparse.ArgumentParser(prog=f"python3 -m {PROGRAM}",
                                     description="Reads the PDF417 symbols in many image files on a Dask cluster and "
                                                 "writes pdf417read --json's JSON Lines, in input order.")
    parser.add_argument("files", nargs="+", metavar="FILE_OR_GLOB",
                        help="image files, or patterns such as 'scans/**/*.tif' (quoted: expanded here, sorted)")
    parser.add_argument("--scheduler", metavar="ADDRESS", help="a running Dask scheduler, e.g. tcp://host:8786")
    parser.add_argument("--workers", type=int, default=os.cpu_count() or 1, metavar="N",
                        help="worker processes of the local cluster started without --scheduler (default: one per "
                             "core)")
    parser.add_argument("--send-files", action="store_true",
                        help="read the files here and send their bytes to the workers (no shared file system)")
    parser.add_argument("--retries", type=int, default=2, metavar="N",
                        help="times a failed task is tried again (default 2)")
    parser.add_argument("--decoded-only", action="store_true", help="leave out candidates that did not decode")
    parser.add_argument("--threshold", type=int, default=-1, metavar="N",
                        help="grey level below which a pixel of a grey or colour page is dark (default: Otsu's)")
    parser.add_argument("--charset", default=_pdf417.DEFAULT_CHARSET,
                        help="character set of data without an ECI designator (an iconv name)")
    parser.add_argument("--no-progress", dest="progress", action="store_false", help="never show the progress bar")
    parser.add_argument("--stats", action="store_true", help="print pages, seconds and pages per second on stderr")
    options = parser.parse_args(argv)
    if options.workers < 1 or options.retries < 0 or not -1 <= options.threshold <= 256:
        parser.error("--workers must be at least 1, --retries at least 0 and --threshold 0 to 256")
    options.progress = options.progress and sys.stderr.isatty()
    options.token = f"{os.getpid()}-{time.time_ns()}"
    return options


def main(argv=None):
    options = parse(sys.argv[1:] if argv is None else argv)
    names, errors = expand(options.files)
    for pattern, reason in errors:
        print(f"{PROGRAM}: {pattern}: {reason}", file=sys.stderr)

    import logging

    from distributed import Client, LocalCluster

    with contextlib.ExitStack() as stack:
        if options.scheduler:
            client = stack.enter_context(Client(options.scheduler))
        else:
            cluster = stack.enter_context(LocalCluster(n_workers=options.workers, threads_per_worker=1,
                                                       processes=True, dashboard_address=None,
                                                       silence_logs=logging.ERROR))
            client = stack.enter_context(Client(cluster))
        run = Run(client, names, options, sys.stdout)
        status = run.run()
        workers = len(client.scheduler_info()["workers"])
    if options.stats:
        print(f"{PROGRAM}: {run.done} pages in {run.seconds:.2f} s ({run.done / max(run.seconds, 1e-9):.2f} pages/s) "
              f"on {workers} workers", file=sys.stderr)
    return 2 if errors else status


if __name__ == "__main__":
    sys.exit(main())
