"""Starts kelo-devservice for tests in Python."""
import contextlib
import subprocess


def read_credentials(output):
    """What the service prints about itself, by name: URL, key, token, secret; and "urls", the line
    for the file that KELO_URLS_FILE names."""
    printed = {}
    while "urls" not in printed:
        line = output.readline()
        if not line:
            raise AssertionError("the service ended before it said how to reach it")
        words = line.split()
        if len(words) == 2:
            printed[words[0]] = words[1]
        elif line.lstrip().startswith("kKELO_"):
            printed["urls"] = line
    return printed


@contextlib.contextmanager
def local_service(program, *arguments):
    """Gives the credentials of a running service; it must end well."""
    service = subprocess.Popen([program, *arguments, "--until-eof"], stdin=subprocess.PIPE,
                               stdout=subprocess.PIPE, text=True)
    try:
        yield read_credentials(service.stdout)
    finally:
        service.communicate()  # ends its standard input, and so the service
    assert service.returncode == 0, f"the service ended with {service.returncode}"
