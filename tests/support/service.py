"""A kelo-devservice of its own for tests in Python."""
import http.client
import json
import os
import subprocess
import tempfile


def read_credentials(output):
    """What the service prints about itself, by name: URL, page, key, token, secret; and "urls", the
    line for the file that KELO_URLS_FILE names."""
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


class Service:
    """Runs until stop() or the end of its with statement, and must end well."""

    def __init__(self, program, *arguments):
        self.process = subprocess.Popen([program, *arguments, "--until-eof"],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.credentials = read_credentials(self.process.stdout)
        self.url = self.credentials["URL"]
        self.port = int(self.url.rpartition(":")[2])
        self.token = self.credentials["page"].partition("token=")[2]
        self.home = tempfile.TemporaryDirectory()

    def stop(self):
        self.process.communicate()  # ends its standard input, and so the service
        self.home.cleanup()
        status = self.process.returncode
        assert status == 0, f"the service ended with {status}"

    def __enter__(self):
        return self

    def __exit__(self, *failure):
        self.stop()

    def environment(self, **more):
        """That of a kelo with a home of its own, and of the sanitizers."""
        given = {"KELO_" + name.upper(): self.credentials[name]
                 for name in ("URL", "key", "token", "secret")}
        kept = {name: value for name, value in os.environ.items() if "SAN_OPTIONS" in name}
        return {"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8", "HOME": self.home.name, **given,
                **kept, **more}

    def ask(self, method, path, body=None, **headers):
        """Status and text of any request; a header given as None is left out."""
        sent = {"Authorization": f"Bearer {self.token}", **headers}
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=120)
        connection.request(method, path, body, {k: v for k, v in sent.items() if v is not None})
        answer = connection.getresponse()
        text = answer.read().decode(errors="replace")
        connection.close()
        return answer.status, text

    def account(self):
        return json.loads(self.ask("GET", "/control/account")[1])
