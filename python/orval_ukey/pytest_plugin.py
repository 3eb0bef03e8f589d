"""The pytest plug-in: software keys, an authority and a trace as fixtures.

    def test_locked(ukey, softkey):
        key = softkey.plugged()
        key.type("00000000")
        ...

Everything that a test sees is its own: the home with its keys, the clients' /tmp, the process in
which the library runs. docs/python.md has whole tests.
"""

from __future__ import annotations

from typing import Any, Generator, Iterator

import pytest

from ._remote import ProcessDied, ProcessHangs
from ._tools import Tools
from .bench import Authority, Bench, SoftKey
from .library import Library
from .scenario import Scenarios
from .trace import Trace

__all__ = ["ProcessDied", "ProcessHangs"]

_BENCH = pytest.StashKey[Bench]()
_SECTION = "calls of the key's libraries"


def pytest_addoption(parser: pytest.Parser) -> None:
    group = parser.getgroup("orval_ukey", "software keys for testing clients")
    group.addoption(
        "--with-softkey",
        metavar="COMMAND",
        help="the command that shows a client the software key; in a checkout "
        "'scripts/with-softkey --build build/debug' (default: the ini value with_softkey)",
    )
    parser.addini("with_softkey", "as --with-softkey", default="with-softkey")
    parser.addini("ukey_timeout", "seconds that a call of the fixture ukey may take", default="60")


@pytest.fixture(scope="session")
def softkey_tools(request: pytest.FixtureRequest) -> Tools:
    """The software key's commands. Fails where no client can be shown a software key."""
    config = request.config
    return Tools(config.getoption("--with-softkey") or config.getini("with_softkey"))


@pytest.fixture
def softkey(
    request: pytest.FixtureRequest, softkey_tools: Tools, tmp_path_factory: pytest.TempPathFactory
) -> Iterator[Bench]:
    """A bench with a fresh home: makes, plugs and disturbs keys, runs clients."""
    timeout = float(request.config.getini("ukey_timeout"))
    bench = Bench(softkey_tools, tmp_path_factory.mktemp("softkey"), timeout)
    request.node.stash[_BENCH] = bench
    yield bench
    bench.close()


@pytest.fixture
def ukey(softkey: Bench) -> Library:
    """The library, in a process of the test's own in which the bench's keys are the real ones."""
    return softkey.library()


@pytest.fixture
def plugged_key(softkey: Bench) -> SoftKey:
    """A key that is plugged, without certificates; its PIN is typed when it asks."""
    return softkey.plugged()


@pytest.fixture
def enrolled_key(softkey: Bench) -> SoftKey:
    """A key that is plugged and has a signing and an encryption certificate."""
    return softkey.enrolled()


@pytest.fixture
def softca(softkey_tools: Tools, softkey: Bench) -> Authority:
    """An authority of the test's own."""
    return Authority(softkey_tools, softkey)


@pytest.fixture
def scenario(
    softkey_tools: Tools, softkey: Bench, tmp_path_factory: pytest.TempPathFactory
) -> Scenarios:
    """Runs clients in worlds that a TOML text describes: keys, dialogs, faults over time."""
    return Scenarios(softkey_tools, softkey, tmp_path_factory.mktemp("scenarios"))


@pytest.fixture
def trace(softkey: Bench) -> Trace:
    """What the test's clients, ukey among them, have called of the key's libraries."""
    return softkey.trace


@pytest.hookimpl(hookwrapper=True)  # type: ignore[misc]
def pytest_runtest_makereport(
    item: pytest.Item, call: pytest.CallInfo[None]
) -> Generator[None, Any, None]:
    outcome = yield
    report = outcome.get_result()
    bench = item.stash.get(_BENCH, None)
    if report.failed and report.when == "call" and bench is not None:
        report.sections.append((_SECTION, str(bench.trace) or "none"))
