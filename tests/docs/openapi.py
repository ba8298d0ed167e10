# SPDX-License-Identifier: MIT
"""
openapi.py FILE.yaml TRACES: every exchange in the files of curl --trace fits the OpenAPI description. What
is answered without an error must be a request as described; each answer must be one of the described.
Prints what does not fit.
"""

import io
import json
import re
import sys
from email.parser import BytesHeaderParser
from http.client import HTTPException, HTTPResponse, IncompleteRead
from pathlib import Path
from urllib.parse import parse_qsl, unquote, urlsplit

import yaml
from jsonschema import Draft202012Validator, RefResolver

api = yaml.safe_load(Path(sys.argv[1]).read_text())
resolver = RefResolver.from_schema(api)


class Misfit(Exception):
    pass


def resolved(part):
    return resolver.resolve(part["$ref"])[1] if "$ref" in part else part


def validate(value, schema, what):
    for error in Draft202012Validator(schema, resolver=resolver).iter_errors(value):
        raise Misfit(f"{what}: {error.message}")


def exchanges(trace):
    """Pairs of the bytes of a request and of its answer, in plain text also for HTTPS."""
    pairs, target = [], None
    for line in trace.read_text(errors="replace").splitlines():
        if block := re.match(r"(=>|<=|==) (Send|Recv|Info)(?: (header|data),)?", line):
            sent = block[2] == "Send"
            if sent and block[3] == "header" and (not pairs or pairs[-1][1]):
                pairs.append((bytearray(), bytearray()))
            target = pairs[-1][0 if sent else 1] if block[3] else None
        elif target is not None and (row := re.match(r"[0-9a-f]+: ((?:[0-9a-f]{2} ){1,16})", line)):
            target += bytes.fromhex(row[1])
    return pairs


def answer_of(raw, method):
    # Curl does not trace the empty line behind "100 Continue".
    raw = re.sub(rb"^HTTP/1.1 100 .*?(?=HTTP/1.1 )", b"", raw, flags=re.DOTALL)
    answer = HTTPResponse(type("Socket", (), {"makefile": lambda *_: io.BytesIO(raw)}), method=method)
    answer.begin()
    try:
        return answer, answer.read()
    except IncompleteRead as stream:
        # The client left it.
        if answer.headers.get_content_type() != "text/event-stream":
            raise
        return answer, stream.partial


def operation_of(method, path):
    """
    The most specific path that fits. A parameter at its end takes slashes as well; but what is below
    /api/ is no file.
    """
    for template in sorted(api["paths"], key=lambda key: (-len(key.split("{")[0]), -len(key))):
        pattern = re.sub(r"\\\{(\w+)\\\}", r"(?P<\1>.*)", re.escape(template))
        if path.startswith("/api/") and not template.startswith("/api/"):
            continue
        if match := re.fullmatch(pattern, path):
            return api["paths"][template].get(method), match.groupdict()
    return None, {}


def decoded(text, part, what):
    """What the text of a parameter or a form's field stands for."""
    if "content" in part:
        return json.loads(text)
    schema = resolved(part["schema"])
    if schema.get("type") == "integer":
        if not re.fullmatch(r"-?\d+", text):
            raise Misfit(f"{what}: no integer")
        return int(text)
    return text.split(",") if schema.get("type") == "array" else text


def check_parameters(operation, path_items, query):
    parameters = [resolved(part) for part in operation.get("parameters", [])]
    free = any(resolved(part["schema"]).get("type") == "object" for part in parameters if "schema" in part)
    items = {("path", name): unquote(text) for name, text in path_items.items()}
    items.update({("query", name): text for name, text in reversed(parse_qsl(query, True))})
    for part in parameters:
        text = items.pop((part["in"], part["name"]), None)
        if text is not None:
            schema = part.get("schema") or part["content"]["application/json"]["schema"]
            validate(decoded(text, part, part["name"]), schema, part["name"])
        elif part.get("required"):
            raise Misfit(f"the parameter {part['name']} is missing")
    if items and not free:
        raise Misfit(f"not described: {list(items)}")


def check_body(operation, headers, body):
    if not body:
        return
    media = headers.get_content_type()
    content = operation.get("requestBody", {}).get("content", {})
    if media not in content:
        raise Misfit(f"a body of type {media}")
    schema = content[media]["schema"]
    if media == "application/json":
        validate(json.loads(body), schema, "body")
    elif media == "application/x-www-form-urlencoded":
        named = schema.get("properties", {})
        fields = {name: decoded(text, {"schema": named.get(name, {})}, name)
                  for name, text in parse_qsl(body.decode(), True)}
        validate(fields, schema, "body")


def check_answer(operation, answer, body):
    described = operation["responses"].get(str(answer.status)) or operation["responses"].get("default")
    if not described:
        raise Misfit("a status that is not described")
    described = resolved(described)
    for name, header in described.get("headers", {}).items():
        if answer.getheader(name) is None:
            raise Misfit(f"no header {name}")
        text = answer.getheader(name)
        validate(decoded(text, header, name), header["schema"], name)
    content = described.get("content")
    if not content or "*/*" in content:
        return
    media = answer.headers.get_content_type()
    if media not in content:
        raise Misfit(f"an answer of type {media}")
    if schema := content[media].get("schema"):
        validate(json.loads(body) if media == "application/json" else body.decode(), schema, "answer")


def check(request, raw):
    head, _, body = bytes(request).partition(b"\r\n\r\n")
    line, _, fields = head.partition(b"\r\n")
    method, target, _ = line.decode().split(" ")
    try:
        answer, answer_body = answer_of(raw, method)
        url = urlsplit(target)
        operation, path_items = operation_of(method.lower(), url.path)
        if not operation:
            if answer.status < 400:
                raise Misfit("not described, and not refused")
            return
        if answer.status < 400:
            check_parameters(operation, path_items, url.query)
            check_body(operation, BytesHeaderParser().parsebytes(fields), body)
        check_answer(operation, answer, answer_body)
    except (Misfit, ValueError, HTTPException) as error:
        raise Misfit(f"{method} {target}: {raw[9:12].decode()}: {error}") from error


count, misfits = 0, []
for file in Path(sys.argv[2]).iterdir():
    for pair in exchanges(file):
        count += 1
        try:
            check(*pair)
        except Misfit as misfit:
            misfits.append(misfit)
print(*misfits, f"{count} exchanges, {len(misfits)} do not fit {sys.argv[1]}", sep="\n")
sys.exit(1 if misfits or not count else 0)
