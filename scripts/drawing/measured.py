"""The plots of docs/performance.md: each belongs to a table there, of the same measurement."""
import re

from drawing.svg import Told

PLOTS = {
    "growth.svg": ("Growth", "The time of a call by the size of its input",
                   "On logarithmic axes, each line climbs as fast as its input: the work is linear. The "
                   "table \"Growth\" of the page has its ends."),
    "stops.svg": ("Stops", "Which share of the stops had taken effect by when",
                  "For each kind of key, the share of stops after which the wait had returned, by the time "
                  "since the stop. The table \"Stops\" of the page has means and bounds."),
}


def told_of(picture, page):
    """What a plot tells, and the table of the page that it belongs to."""
    heading, title, desc = PLOTS[picture]
    table = re.search(rf"^### {heading}\n(.*?)(?=^### |^<!-- end)", page, re.MULTILINE | re.DOTALL)
    return Told(title, desc, table[1] if table else "")
