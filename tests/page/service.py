"""A service of its own for a test, and a client that signs what it sends."""
import hashlib
import http.client
import itertools
import json
import re
import subprocess
import urllib.parse

DECLARATIONS = ('<?xml version="1.1" encoding="UTF-8"?>\r\n'
                '<?protocol version="KELO-API/XML-R/1.0"?>\r\n')
PATH = "/P2PwebCmdController"
call_ids = itertools.count(1)


class Service:
    def __init__(self, program, *options):
        self.process = subprocess.Popen([program, "--until-eof", *options], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)
        said = {}
        for line in self.process.stdout:
            name, _, value = line.strip().partition(" ")
            said[name] = value.strip()
            if name == "kKELO_URLofKELOServer":
                break
        self.url, self.page = said["URL"], said["page"]
        self.key, self.auth_token, self.secret = said["key"], said["token"], said["secret"]
        self.port = urllib.parse.urlsplit(self.url).port
        self.token = self.page.partition("token=")[2]

    def stop(self):
        self.process.stdin.close()
        self.process.stdout.read()
        return self.process.wait()

    def control(self, method, path, body=None, **headers):
        """Status and text of a control call; a header given as None is left out."""
        sent = {"Authorization": f"Bearer {self.token}", **headers}
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=120)
        connection.request(method, path, body, {k: v for k, v in sent.items() if v is not None})
        answer = connection.getresponse()
        text = answer.read().decode()
        connection.close()
        return answer.status, text

    def account(self):
        return json.loads(self.control("GET", "/control/account")[1])


class Client:
    def __init__(self, service):
        self.service = service
        self.connection = http.client.HTTPConnection("127.0.0.1", service.port, timeout=120)
        query = (f"method=OpenSession&callId={next(call_ids)}&keloApiKey={service.key}"
                 f"&keloAuthToken={service.auth_token}")
        _, answer = self.send("GET", f"{PATH}/api-auth?{query}{self.signature(query)}")
        self.session = re.search('keloSessToken="([^"]+)"', answer).group(1)

    def signature(self, text, document="", secret=None):
        text = f"{secret or self.service.secret}?{text}" + (f"\r\n{document}" if document else "")
        return "&keloApiSig=" + hashlib.sha1(text.encode()).hexdigest()

    def send(self, method, target, body=None, headers=None):
        self.connection.request(method, target, body, headers or {})
        answer = self.connection.getresponse()
        return answer.status, answer.read().decode(errors="replace")

    def upload(self, name, content):
        """Stores a file under a name, given as it stands in a document."""
        document = (f'{DECLARATIONS}<UploadItems>\r\n<items>\r\n<item idx="1" fileName="{name}"'
                    f' size="{len(content)}" fileCreateDate="2026:01:01 10:00:00"'
                    f' fileModifyDate="2026:01:02 11:00:00" />\r\n</items>\r\n</UploadItems>\r\n')
        query = f"keloSessToken={self.session}&callId={next(call_ids)}"
        target = f"{PATH}/api-upload?{query}{self.signature(query, document)}"
        part = '--BOUNDARY\r\nContent-Disposition: form-data; name="{}"\r\nContent-Type: {}\r\n' \
               'Content-Transfer-Encoding: {}\r\n\r\n'
        body = (part.format("XML", "text/plain; charset=UTF-8", "8bit") + document + "\r\n" +
                part.format(name, "application/octet-stream", "binary")).encode()
        return self.send("POST", target, body + content + b"\r\n--BOUNDARY--\r\n",
                         {"Content-Type": "multipart/form-data; boundary=BOUNDARY"})

    def call(self, element, secret=None):
        """Sends a method element; status and answer."""
        document = DECLARATIONS + element + ("\r\n" if element.endswith(" />") else "")
        query = f"keloSessToken={self.session}&callId={next(call_ids)}"
        target = f"{PATH}/api-manage?{query}{self.signature(query, document, secret)}"
        return self.send("PUT", target, document.encode())
