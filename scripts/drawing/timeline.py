"""The calls of a recording in time: a bar for each, an empty one with a cross where it failed."""
import json

from drawing.svg import Canvas, Told

NAMES, BARS, TOLD, LINE, TOP = 200, 440, 190, 19, 44
WIDTH = NAMES + BARS + TOLD
STEPS = (1, 2, 5, 10, 20, 50, 100, 200, 500, 1000, 2000, 5000, 10000)  # milliseconds


def calls_of(recording):
    calls = [line for line in map(json.loads, recording.splitlines()) if "call" in line]
    return sorted(calls, key=lambda call: call["start_us"])


def draw_axis(canvas, span, height):
    """Lines at round times, at most eight of them."""
    step = next((step for step in STEPS if span / step <= 8), STEPS[-1])
    for time in range(0, int(span) + 1, step):
        x = NAMES + BARS * time / span
        canvas.line(x, TOP - 8, x, height - 12, 'stroke-opacity="0.25"')
        canvas.text(x, TOP - 14, f"{time} ms", "quiet", "middle", 11.5)


def draw_call(canvas, y, begin, width, call):
    failed = call.get("code", 0) != 0
    canvas.text(12, y + 13, call["entry"], "code strong" if failed else "code", size=11.5)
    canvas.box(begin, y + 3, max(width, 2), 12, "paper line" if failed else "ink")
    took = f"{call['duration_us'] / 1000:.1f} ms"
    if failed:
        canvas.text(begin + width + 5, y + 13.5, "✖", size=12)
        took += f", failed 0x{call['code']:08X}"
    canvas.text(NAMES + BARS + 18, y + 13, took, "strong" if failed else "quiet", size=11.5)


def draw(recording):
    calls = calls_of(recording)
    first = calls[0]["start_us"]
    span = max(call["start_us"] + call["duration_us"] for call in calls) - first
    height = TOP + len(calls) * LINE + 14
    canvas = Canvas()
    draw_axis(canvas, span / 1000, height)
    for number, call in enumerate(calls):
        y = TOP + number * LINE
        if number > 0 and call["process"] != calls[number - 1]["process"]:
            canvas.line(12, y, WIDTH - 12, y, 'stroke-dasharray="3 3" stroke-opacity="0.6"')
        draw_call(canvas, y, NAMES + BARS * (call["start_us"] - first) / span,
                  BARS * call["duration_us"] / span, call)
    processes = len({call["process"] for call in calls})
    failed = [call["entry"] for call in calls if call.get("code", 0) != 0]
    desc = (f"{len(calls)} calls of {processes} processes, each as a bar from its beginning to its end; a "
            f"dashed line is where another process begins. Failed: {', '.join(failed) or 'none'}.")
    return canvas.drawn(WIDTH, height, Told("The calls of a recording in time", desc, recording))
