"""What the kinds of commands take, answer and refuse: one row each. The tests send every probe to every command of its
kind, so what the pages say is what the instrument does."""

from typing import NamedTuple


class Kind(NamedTuple):
    takes: str = ""
    answers: str = ""
    set_errors: tuple = ()  # (code, cause, parameters that provoke it)
    query_errors: tuple = ()


NO_PARAMETER = (-109, "without a parameter", "")
TWO_PARAMETERS = (-108, "with a second parameter", "1,1")
NO_NUMBER = (-224, "not a number; a suffix makes it none", "1 kHz")
TOO_LARGE = (-222, "a number from 1E38 on", "1E99")
NUMBER = (NO_PARAMETER, TWO_PARAMETERS, NO_NUMBER, TOO_LARGE)
ANY_PARAMETER = (-108, "with a parameter", "x")
OTHER_PARAMETER = (-113, "with a parameter other than MIN or MAX", "x")

KINDS = {
    "special": Kind(),
    "absent": Kind(),
    "action": Kind("nothing", "", (ANY_PARAMETER,), (ANY_PARAMETER,)),
    "number": Kind("a plain number, with or without exponent; no suffix", "nine decimals", NUMBER, (OTHER_PARAMETER,)),
    "integer": Kind("a plain number, rounded to a whole one; no suffix", "a whole number", NUMBER),
    "natural": Kind("a plain number, rounded to a whole one, a negative one to 0; no suffix", "a whole number", NUMBER),
    "frequency": Kind(
        "a number in Hz, or with a suffix: Hz, kHz, MHz, MAHz, GHz",
        "20 decimals",
        (
            NO_PARAMETER,
            TWO_PARAMETERS,
            (-131, "another suffix", "1 V"),
            (-224, "not a number", "1.2.3"),
            TOO_LARGE,
        ),
        (OTHER_PARAMETER,),
    ),
    "power": Kind("", "six decimals, in the unit of `UNIT:POWer`", (), (OTHER_PARAMETER,)),
    "seconds": Kind("", "exponential form, `1.234567E-12`", (), (OTHER_PARAMETER,)),
    "onOff": Kind(
        "`ON`, `OFF` or a number, on unless it rounds to 0",
        "`1` or `0`",
        (NO_PARAMETER, TWO_PARAMETERS, (-224, "another word", "x")),
        (ANY_PARAMETER,),
    ),
    "text": Kind(
        "a text in double quotes, without comma, semicolon or newline",
        "the text in double quotes",
        (NO_PARAMETER, TWO_PARAMETERS, (-224, "without quotes", "x")),
        (ANY_PARAMETER,),
    ),
    "word": Kind(
        "one of these words, in the short or the long form",
        "",
        (NO_PARAMETER, TWO_PARAMETERS, (-113, "another word", "x")),
        (ANY_PARAMETER,),
    ),
    "reading": Kind("", "a whole number", (), (ANY_PARAMETER,)),
    "trace": Kind("", "a block of 32-bit floats", (ANY_PARAMETER,), (ANY_PARAMETER,)),
    "report": Kind("", "text", (), (ANY_PARAMETER,)),
}
