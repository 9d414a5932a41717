"""Examples: messages, with the answers that they get indented below them. In an answer `<ms>` and its like stand for a
number and `…` for any text; behind `≈` come numbers that are true within 5 %."""

import math
import re

EMPTY_LINE = "(empty line)"
TOLERANCE = 0.05
NUMBER = r"-?\d+(\.\d+)?"


class Mismatch(Exception):
    pass


def steps(text):
    """The messages of an example with their answers, [(message, [answer, ...]), ...]."""
    found = []
    for line in text.strip("\n").splitlines():
        if line.startswith(" "):
            found[-1][1].append(line.strip())
        else:
            found.append((line, []))
    return found


def near(expected, answer):
    numbers, found = expected.split(","), answer.split(",")
    return len(numbers) == len(found) and all(
        math.isclose(float(there), float(number), rel_tol=TOLERANCE) for number, there in zip(numbers, found)
    )


def matches(expected, answer):
    if expected.startswith("≈"):
        return near(expected[1:], answer)
    patterns = (
        re.escape(part) if at % 2 == 0 else NUMBER for at, part in enumerate(re.split("(<[A-Za-z]+>)", expected))
    )
    return re.fullmatch("".join(patterns).replace("…", ".*"), answer) is not None


def run(link, text):
    """Sends the messages of an example one by one. Raises Mismatch at the first answer that is not as it says, and for
    an error that is left behind."""
    for message, answers in steps(text):
        link.send(message)
        for expected in answers:
            if expected == EMPTY_LINE:
                expected = ""
            elif not expected.strip("…"):
                raise Mismatch(f"{message} shows no part of its answer")
            answer = link.binary() if expected.startswith("binary block") else link.answer()
            if not matches(expected, answer.strip()):
                raise Mismatch(f"{message}\n    {answer}\nwhere the example says\n    {expected}")
    left = link.ask("SYST:ERR:ALL?")[0]
    if left != '0,"No error"':
        raise Mismatch(f"{text.strip()}\nleaves {left}")
