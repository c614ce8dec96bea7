#!/usr/bin/env python3
"""Renders the HTML report in headless Chromium at the widths of a desktop and a phone, light and
dark. A message of the browser's console, or a page wider than its window, is a fault. Ends with 77,
"skipped", where there is no chromium, unless OSTRIA_NEED_CHROMIUM is set.
usage: render_test.py FOLDER_OF_THE_PROGRAM [FOLDER_FOR_PICTURES]"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
REPORTS = {
    "tests": ["report_machine.json", "-Qm,o,b", "-En(ERROR_LIMIT=0)", "--note", "Ticket=4711"],
    "repair": ["reads_machine.json", "recover", "repair", "READS-1", "--assume=yes"],
    "health": ["health_machine.json", "--show"],
}
WIDTHS = {"desktop": 1280, "phone": 360}
# The page says how wide it is and how dark to the page around it, which --dump-dom prints. A window
# has a least width, a frame has none.
MEASURE = ("<script>addEventListener('load',()=>parent.postMessage("
           "document.documentElement.scrollWidth+'/'+innerWidth+'/'+"
           "matchMedia('(prefers-color-scheme:dark)').matches,'*'));</script>")
AROUND = ("<!doctype html><meta name='color-scheme' content='light dark'><script>"
          "addEventListener('message',m=>document.title=m.data)</script>"
          "<iframe src='measured.html' style='border:0;width:%dpx;height:2000px'></iframe>")


def chromium(program, folder, page, width, dark, extra):
    return subprocess.run(
        [program, "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
         "--user-data-dir=" + str(folder / "profile"), "--enable-logging=stderr", "--log-level=0",
         "--window-size=%d,2400" % width,
         "--blink-settings=preferredColorScheme=%d" % (0 if dark else 1)] + extra + [page.as_uri()],
        capture_output=True, text=True, check=False, timeout=120)


def faults_of(program, folder, page, width, dark, picture):
    faults = []
    # The report forbids scripts: the copy that is measured may run one.
    measured = folder / "measured.html"
    text = page.read_text(encoding="utf-8")
    text, count = re.subn(r'<meta http-equiv="Content-Security-Policy"[^>]*>', "", text)
    if count != 1:
        faults.append("the report does not forbid scripts")
    measured.write_text(text.replace("</head>", MEASURE + "</head>"), encoding="utf-8")
    around = folder / "around.html"
    around.write_text(AROUND % width, encoding="utf-8")
    dump = chromium(program, folder, around, width, dark, ["--dump-dom"])
    found = re.search(r"<title>(\d+)/(\d+)/(true|false)</title>", dump.stdout)
    if not found:
        faults.append("it was not rendered: " + dump.stderr[-300:])
    else:
        if int(found.group(2)) != width or int(found.group(1)) > width:
            faults.append("%s pixels wide in a window of %s" % found.groups()[:2])
        if (found.group(3) == "true") != dark:
            faults.append("the colours are not those that were asked for")
    shot = chromium(program, folder, page, width, dark, ["--screenshot=" + str(picture)])
    console = [line for line in shot.stderr.splitlines() if ":CONSOLE" in line]
    if console:
        faults.append(console[0])
    if not picture.exists() or picture.stat().st_size < 5000:
        faults.append("no picture was made")
    return faults


def main():
    program = shutil.which("chromium")
    if program is None:
        print("chromium is not installed")
        return 1 if os.environ.get("OSTRIA_NEED_CHROMIUM") else 77
    pictures = 0
    wrong = 0
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        target = pathlib.Path(sys.argv[2]) if len(sys.argv) > 2 else folder
        for report, (machine, *arguments) in REPORTS.items():
            page = folder / (report + ".html")
            subprocess.run(
                [os.path.join(sys.argv[1], "OstriaDiagnosticsCLI"), "-Mstorage",
                 "--virtual=" + str(TOP / "tests/host" / machine), "--report", page] + arguments,
                capture_output=True, check=False, timeout=250)
            for size, width in WIDTHS.items():
                for dark in (False, True):
                    title = "%s-%s-%s" % (report, size, "dark" if dark else "light")
                    faults = faults_of(program, folder, page, width, dark,
                                       target / (title + ".png"))
                    for fault in faults:
                        print("%s: %s" % (title, fault))
                    pictures += 1
                    wrong += bool(faults)
    print("%d pages, %d wrong" % (pictures, wrong))
    return 1 if wrong else 0


sys.exit(main())
