"""Runs the host's tools."""

import os
import subprocess

from virtboard import BoardError

ENVIRONMENT = {**os.environ, "PATH": f"{os.environ['PATH']}:/usr/sbin:/sbin"}  # also for an ordinary user


def run(*command, **options) -> subprocess.CompletedProcess:
    """Runs a tool that must succeed."""
    try:
        return subprocess.run(command, check=True, env=ENVIRONMENT, **options)
    except subprocess.CalledProcessError as error:
        raise BoardError(f"{' '.join(map(str, command))} failed with exit code {error.returncode}") from None
    except FileNotFoundError:
        raise BoardError(f"there is no {command[0]}: scripts/setup --arm installs it") from None


def output_of(*command) -> str:
    """The standard output of a tool that must succeed."""
    return run(*command, text=True, stdout=subprocess.PIPE).stdout
