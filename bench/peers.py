#!/usr/bin/env python3
"""The public tools beside ours.

peers.py compare CONVERT [PICTURE]
    Applies operations with a public definition to a picture with quillmark-convert, OpenCV and ImageMagick and
    prints the largest difference of any sample, and how many samples differ by more than one level.
peers.py time THREADS RUNS [FILTER]
    Times OpenCV's operations on 24 megapixels in this process, each followed by a copy of the same bytes, and
    prints one JSON object a line.

Whatever is not installed is left out.
"""
import json
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

try:
    import cv2
    import numpy as np
except ImportError:
    cv2 = np = None

WIDTH, HEIGHT = 6000, 4000


def landscape(width, height):
    """Gradients, shaded discs and noise."""
    random = np.random.default_rng(1)
    y, x = np.mgrid[0:height, 0:width].astype(np.float32)
    picture = np.stack([x * 255 / width, y * 255 / height, (x + y) * 255 / (width + height)], axis=2)
    for _ in range(40):
        cx, cy, radius = random.integers(width), random.integers(height), random.integers(20, max(21, width // 8))
        inside = (x - cx) ** 2 + (y - cy) ** 2 < radius**2
        picture[inside] = picture[inside] * 0.4 + random.integers(0, 255, 3) * 0.6
    picture += random.normal(0, 3, picture.shape)
    return np.clip(picture, 0, 255).astype(np.uint8)


def hue(image, degrees):
    hsv = cv2.cvtColor(image, cv2.COLOR_BGR2HSV_FULL)
    hsv[:, :, 0] += np.uint8(round(degrees * 256 / 360))
    return cv2.cvtColor(hsv, cv2.COLOR_HSV2BGR_FULL)


def equalize(image):
    return cv2.merge([cv2.equalizeHist(channel) for channel in cv2.split(image)])


def table(image, function):
    return cv2.LUT(image, np.clip(np.rint(function(np.arange(256))), 0, 255).astype(np.uint8))


def edges(image, rows):
    """The absolute response of a kernel, and of two kernels their Euclidean length."""
    parts = [cv2.filter2D(image, cv2.CV_32F, np.array(k, np.float32), borderType=cv2.BORDER_REPLICATE) for k in rows]
    length = np.sqrt(sum(part * part for part in parts))
    return np.clip(np.rint(length), 0, 255).astype(np.uint8)


def turned(image, degrees):
    height, width = image.shape[:2]
    matrix = cv2.getRotationMatrix2D(((width - 1) / 2, (height - 1) / 2), -degrees, 1)
    cosine, sine = abs(matrix[0, 0]), abs(matrix[0, 1])
    new = int(np.ceil(width * cosine + height * sine)), int(np.ceil(width * sine + height * cosine))
    matrix[:, 2] += (new[0] - width) / 2, (new[1] - height) / 2
    return cv2.warpAffine(image, matrix, new, flags=cv2.INTER_LINEAR, borderValue=(255, 255, 255))


def kernel(image, rows, offset=0):
    return cv2.filter2D(image, -1, np.array(rows, np.float32), delta=offset, borderType=cv2.BORDER_REPLICATE)


SMOOTH = [[-1 / 16, -2 / 16, -1 / 16], [-2 / 16, 28 / 16, -2 / 16], [-1 / 16, -2 / 16, -1 / 16]]
RELIEF = [[1, 0, 0], [0, 0, 0], [0, 0, -1]]
ACROSS = [[-1, -2, -1], [0, 0, 0], [1, 2, 1]]
PREWITT = [[-1, -1, -1], [0, 0, 0], [1, 1, 1]]
EIGHT = [[-1, -1, -1], [-1, 8, -1], [-1, -1, -1]]
FOUR = [[0, -1, 0], [-1, 4, -1], [0, -1, 0]]


def sideways(rows):
    return [list(column) for column in zip(*rows)]


# Name of the figure, and the same operation by OpenCV.
TIMED = {
    "intensity": lambda i: cv2.convertScaleAbs(i, alpha=1, beta=35),
    "contrast": lambda i: cv2.convertScaleAbs(i, alpha=1.33, beta=-42),
    "gamma": lambda i: table(i, lambda v: 255 * (v / 255) ** (1 / 1.5)),
    "invert": cv2.bitwise_not,
    "grayscale": lambda i: cv2.cvtColor(i, cv2.COLOR_BGR2GRAY),
    "hue": lambda i: hue(i, 30),
    "equalize": equalize,
    "average3": lambda i: cv2.blur(i, (3, 3), borderType=cv2.BORDER_REPLICATE),
    "average15": lambda i: cv2.blur(i, (15, 15), borderType=cv2.BORDER_REPLICATE),
    "median3": lambda i: cv2.medianBlur(i, 3),
    "median5": lambda i: cv2.medianBlur(i, 5),
    "median15": lambda i: cv2.medianBlur(i, 15),
    "sharpen": lambda i: kernel(i, SMOOTH),
    "emboss": lambda i: kernel(i, RELIEF, 128),
    "sobel": lambda i: kernel(i, ACROSS),
    "prewitt": lambda i: kernel(i, PREWITT),
    "laplacian": lambda i: kernel(i, EIGHT),
    "rotate90": lambda i: cv2.rotate(i, cv2.ROTATE_90_CLOCKWISE),
    "rotate_free": lambda i: turned(i, 7.5),
    "reverse": lambda i: cv2.flip(i, 1),
    "flip": lambda i: cv2.flip(i, 0),
    "half": lambda i: cv2.resize(i, (i.shape[1] // 2, i.shape[0] // 2), interpolation=cv2.INTER_AREA),
    "area1920": lambda i: cv2.resize(i, (1920, 1280), interpolation=cv2.INTER_AREA),
    "resample1920": lambda i: cv2.resize(i, (1920, 1280), interpolation=cv2.INTER_LANCZOS4),
    "separate_rgb": cv2.split,
}

# Operation for quillmark-convert, OpenCV's twin, ImageMagick's words (None: no like definition there).
COMPARED = [
    ("Flip", lambda i: cv2.flip(i, 0), ["-flip"]),
    ("Reverse", lambda i: cv2.flip(i, 1), ["-flop"]),
    ("Rotate=9000", lambda i: cv2.rotate(i, cv2.ROTATE_90_CLOCKWISE), ["-rotate", "90"]),
    ("Rotate=750", lambda i: turned(i, 7.5), None),
    ("Invert", cv2.bitwise_not if cv2 else None, ["-negate"]),
    ("Grayscale=8", lambda i: cv2.cvtColor(i, cv2.COLOR_BGR2GRAY), ["-grayscale", "Rec601Luma"]),
    ("GammaCorrect=150", lambda i: table(i, lambda v: 255 * (v / 255) ** (1 / 1.5)), ["-gamma", "1.5"]),
    ("HistoEqualize", equalize, None),
    ("Hue=300", lambda i: hue(i, 30), None),
    ("Average=3", lambda i: cv2.blur(i, (3, 3), borderType=cv2.BORDER_REPLICATE), None),
    ("Average=15", lambda i: cv2.blur(i, (15, 15), borderType=cv2.BORDER_REPLICATE), None),
    ("Median=3", lambda i: cv2.medianBlur(i, 3), None),
    ("Median=5", lambda i: cv2.medianBlur(i, 5), None),
    ("Median=15", lambda i: cv2.medianBlur(i, 15), None),
    ("SpatialFilter=10", lambda i: edges(i, [FOUR]), None),
    ("SpatialFilter=11", lambda i: edges(i, [EIGHT]), None),
    ("SpatialFilter=20", lambda i: edges(i, [ACROSS]), None),
    ("SpatialFilter=21", lambda i: edges(i, [sideways(ACROSS)]), None),
    ("SpatialFilter=22", lambda i: edges(i, [ACROSS, sideways(ACROSS)]), None),
    ("SpatialFilter=30", lambda i: edges(i, [PREWITT]), None),
    ("SpatialFilter=32", lambda i: edges(i, [PREWITT, sideways(PREWITT)]), None),
    ("Size=320,240,2", lambda i: cv2.resize(i, (320, 240), interpolation=cv2.INTER_AREA), ["-scale", "320x240!"]),
    ("Size=200,100,2", lambda i: cv2.resize(i, (200, 100), interpolation=cv2.INTER_AREA), ["-scale", "200x100!"]),
    ("Size=200,100,1", None, ["-filter", "Lanczos", "-resize", "200x100!"]),
    ("Size=1000,900,1", None, ["-filter", "Lanczos", "-resize", "1000x900!"]),
]


def run(words):
    return subprocess.run(words, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)


def difference(ours, theirs):
    if ours.shape != theirs.shape:
        return f"other size: {ours.shape} and {theirs.shape}"
    apart = np.abs(ours.astype(int) - theirs.astype(int))
    return f"largest {apart.max()}, above 1: {100 * np.mean(apart > 1):.3f} %"


def as_colour(path):
    return cv2.imread(str(path), cv2.IMREAD_COLOR)


def compare(convert, picture):
    with tempfile.TemporaryDirectory() as folder:
        folder = Path(folder)
        source = Path(picture) if picture else folder / "in.png"
        if not picture:
            cv2.imwrite(str(source), landscape(640, 480))
        image = as_colour(source)
        for operation, twin, words in COMPARED:
            out = folder / "out.png"
            done = run([convert, "convert", str(source), str(out), "--op", operation])
            if done.returncode != 0:
                print(f"{operation:18} failed")
                continue
            ours = as_colour(out)
            if twin:
                theirs = twin(image)
                theirs = cv2.cvtColor(theirs, cv2.COLOR_GRAY2BGR) if theirs.ndim == 2 else theirs
                print(f"{operation:18} OpenCV       {difference(ours, theirs)}")
            if words and run(["convert", str(source), *words, str(folder / "im.png")]).returncode == 0:
                print(f"{operation:18} ImageMagick  {difference(ours, as_colour(folder / 'im.png'))}")
    colours = run(["identify", "-format", "%k", str(picture)]) if picture else None
    if colours and colours.returncode == 0:
        print(f"unique colours     ImageMagick  {colours.stdout}")


def milliseconds(work):
    start = time.perf_counter()
    work()
    return (time.perf_counter() - start) * 1000


def measure(threads, runs, wanted):
    cv2.setNumThreads(threads)
    image, copy = landscape(WIDTH, HEIGHT), np.empty((HEIGHT, WIDTH, 3), np.uint8)
    for name, operation in TIMED.items():
        if wanted not in name:
            continue
        operation(image)
        pairs = [(milliseconds(lambda: operation(image)), milliseconds(lambda: np.copyto(copy, image)))
                 for _ in range(runs)]
        print(json.dumps({
            "name": name, "tool": f"OpenCV {cv2.__version__}", "threads": threads,
            "megapixels": WIDTH * HEIGHT / 1e6,
            "ms": round(statistics.median(own for own, _ in pairs), 3),
            "memcpy_ms": round(statistics.median(other for _, other in pairs), 3),
            "ratio": round(statistics.median(own / other for own, other in pairs), 3)}), flush=True)


def main(words):
    if cv2 is None:
        sys.exit("python3 has no OpenCV here")
    if len(words) >= 2 and words[0] == "compare":
        compare(words[1], words[2] if len(words) > 2 else None)
    elif len(words) >= 3 and words[0] == "time":
        measure(int(words[1]), int(words[2]), words[3] if len(words) > 3 else "")
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main(sys.argv[1:])
