"""A browser (chromium) that reaches no network, for tests that look at pages."""
import shutil
import subprocess
import sys
from pathlib import Path


def browse(page, *options, query=""):
    """What the browser prints for a page that is a file."""
    browser = shutil.which("chromium")
    if browser is None:
        sys.exit("there is no chromium; scripts/dependencies test installs it")
    done = subprocess.run(
        [browser, "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
         "--no-first-run", "--hide-scrollbars",
         "--allow-file-access-from-files", "--host-resolver-rules=MAP * ~NOTFOUND",
         f"--user-data-dir={Path.cwd()}/browser", *options, page.resolve().as_uri() + query],
        capture_output=True, text=True, timeout=120, check=False)
    if done.returncode != 0:
        sys.exit(f"chromium ended with {done.returncode}: {done.stderr[-2000:]}")
    return done.stdout
