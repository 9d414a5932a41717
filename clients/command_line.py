"""What the command lines of ./run, measure.py and the examples share."""

import argparse
import ipaddress
from collections.abc import Callable
from pathlib import Path
from typing import NoReturn

DEFAULT_PORT = 18  # of an instrument; a virtual one tells where it listens
HIGHEST_PORT = 65535
WRONG_USAGE = 2  # exit status, of all of them


class Parser(argparse.ArgumentParser):
    """Says in one line what is wrong, and ends with WRONG_USAGE. Options are not abbreviated."""

    def __init__(self, **rest):
        super().__init__(allow_abbrev=False, **rest)

    def error(self, message: str) -> NoReturn:
        name = self.prog.removeprefix("./").removesuffix(".py")
        self.exit(WRONG_USAGE, f"{name}: {message}; {self.prog} --help tells the options\n")


def whole_number(what: str, low: int, high: int) -> Callable[[str], int]:
    """A reader for argparse."""

    def read(text: str) -> int:
        if not text.isascii() or not text.isdecimal() or not low <= int(text) <= high:
            raise argparse.ArgumentTypeError(f"{text!r} is no {what}, a whole number from {low} to {high}")
        return int(text)

    return read


port_number = whole_number("port", 1, HIGHEST_PORT)


def ip_address(text: str) -> str:
    try:
        return str(ipaddress.IPv4Address(text))
    except ValueError:
        raise argparse.ArgumentTypeError(f"{text!r} is no address such as 127.0.0.1") from None


def existing_file(text: str) -> str:
    """As it was written: messages about the file call it so."""
    path = Path(text)
    if path.is_dir():
        raise argparse.ArgumentTypeError(f"{text} is a directory, no file")
    if not path.exists():
        raise argparse.ArgumentTypeError(f"there is no file {text}")
    return text


def address(words: list[str], default_port: int = DEFAULT_PORT) -> tuple[str, int]:
    """From HOST, HOST:PORT, or HOST and PORT. Raises ArgumentTypeError."""
    host, *port = words[0].split(":") + words[1:]
    if not host or len(port) > 1:
        raise argparse.ArgumentTypeError(f"{' '.join(words)!r} is neither HOST, HOST:PORT nor HOST PORT")
    return host, port_number(port[0]) if port else default_port


class _TakeAddress(argparse.Action):
    def __call__(self, parser, namespace, words, option_string=None):
        try:
            default_port = self.default[1] if self.default else DEFAULT_PORT
            namespace.address = words if words is self.default else address(words, default_port)
        except argparse.ArgumentTypeError as error:
            parser.error(str(error))


def add_address(parser: argparse.ArgumentParser, default: tuple[str, int] | None = None) -> None:
    """The instrument's, as one or two words. Without a default it must be given."""
    parser.add_argument(
        "address",
        nargs="+" if default is None else "*",
        metavar="HOST[:PORT]",
        action=_TakeAddress,
        default=default,
        help=f"the instrument, as HOST, HOST:PORT or HOST PORT (port {default[1] if default else DEFAULT_PORT} "
        "unless told; a virtual one tells its own at start)",
    )


def host_of_example(purpose: str) -> tuple[str, int]:
    """The one thing that an example is told: the instrument, this machine's own unless told."""
    parser = Parser(description=purpose)
    add_address(parser, default=("127.0.0.1", DEFAULT_PORT))
    return parser.parse_args().address
