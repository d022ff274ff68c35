"""A client of the control API, from outside the device."""

import http.client
import json
import time
import urllib.parse

from device import PATIENCE, until

LIMIT = 256 * 1024  # bytes of a request's body that are accepted

# Every code that an answer can carry, with its message.
MESSAGES = {
    "1000": ["An error occurred inside the application."],
    "2000": ["The requested version of the application is not supported."],
    "2001": ["The configuration was not formatted correctly, i.e. does not follow json-scheme"],
    "2002": [
        "Parts of the configuration contradict each other, e.g several profiles have the same id",
        "An error occurred inside the application.",
    ],
    "2003": ["A mandatory parameter is missing"],
    "2004": ["The configuration contains an invalid parameter"],
    "2005": ["The requested CGI method was not found"],
    "8000": ["The product is not supported by the Lumet."],
}


def request(method, params=None, version="1.4", context=None):
    """A request as a dict, its members in the order of a stored document."""
    made = {"apiVersion": version}
    if context is not None:
        made["context"] = context
    made["method"] = method
    if params is not None:
        made["params"] = params
    return made


def ordered(text):
    """JSON with its objects as lists of pairs, so that comparing compares the order of members too."""
    return json.loads(text, object_pairs_hook=list)


class Control:
    """One connection, kept open, made again when the server has closed it. Not for several threads."""

    def __init__(self, device, timeout=PATIENCE):
        address = urllib.parse.urlsplit(device.endpoints["control"])
        self._connection = http.client.HTTPConnection(address.hostname, address.port, timeout=timeout)
        self._path = address.path

    def close(self):
        self._connection.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def send(self, body, verb="POST", headers=None):
        """Sends bytes as they are; HTTP status, headers and the answer's bytes."""
        for attempt in (1, 2):
            try:
                self._connection.request(verb, self._path, body, headers or {"Content-Type": "application/json"})
                answer = self._connection.getresponse()
                return answer.status, answer.headers, answer.read()
            except (ConnectionResetError, BrokenPipeError, http.client.RemoteDisconnected):
                self._connection.close()
                if attempt == 2:
                    raise
            except BaseException:
                self._connection.close()
                raise

    def text(self, body):
        """Sends a text or bytes; the answer's text, which comes with HTTP status 200."""
        status, headers, answer = self.send(body.encode() if isinstance(body, str) else body)
        if status != 200 or headers["Content-Type"] != "application/json":
            raise AssertionError(f"HTTP {status} {headers['Content-Type']}: {answer[:200]!r}")
        return answer.decode()

    def ask(self, method, params=None, **more):
        """The whole answer to a request."""
        return json.loads(self.text(json.dumps(request(method, params, **more))))

    def data(self, method, params=None, **more):
        """The data of an answer that must be a good one."""
        answer = self.ask(method, params, **more)
        if "error" in answer:
            raise AssertionError(f"{method}: {answer}")
        return answer["data"]

    def code(self, method, params=None, **more):
        """The error code of an answer, "0" without an error."""
        return code_of(self.ask(method, params, **more))

    def configure(self, document):
        """Sends a whole document, which must be accepted."""
        answer = json.loads(self.text(json.dumps(document)))
        if "error" in answer:
            raise AssertionError(str(answer))

    def until_answers(self):
        """Waits until the application answers, for instance after a restart; how long that took."""
        begin = time.monotonic()
        body = json.dumps(request("getSupportedVersions"))
        until(lambda: self._status(body) == 200, "the application answers")
        return time.monotonic() - begin

    def _status(self, body):
        try:
            return self.send(body)[0]
        except OSError:
            return None


def code_of(answer):
    return answer.get("error", {}).get("code", "0")


def flaw(answer):
    """What is wrong with the form of an answer's bytes; None when it is a well-formed one."""
    try:
        told = json.loads(answer.decode())
    except ValueError as error:
        return f"not JSON: {error}"
    if not isinstance(told, dict):
        return "not an object"
    names = list(told)
    if names[:3] != ["apiVersion", "method", "context"] or names[3:] not in (["data"], ["error"]):
        return f"members {names}"
    if told["apiVersion"] != "1.4" or not all(isinstance(told[name], str) for name in ("method", "context")):
        return "a head of other values"
    if "data" in told:
        return None if isinstance(told["data"], dict) else "data is not an object"
    error = told["error"]
    if list(error) != ["code", "message"] or error["message"] not in MESSAGES.get(error["code"], []):
        return f"error {error}"
    return None
