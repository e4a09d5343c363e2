#!/usr/bin/python3
"""Holds what the server in the box says, and what --check-server prints, against docs/schema.

Usage: check_replies.py SCHEMA_FOLDER OSTRAD SERVER_CHECK
"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import urllib.request

import jsonschema

# What each schema has to refuse.
WRONG = {
    "modes": [{}, [{"id": "music", "name": "Music"}], [{"id": 1, "name": "", "entityTypes": []}],
              [{"id": "a", "name": "A", "entityTypes": [{"id": "a.b"}]}]],
    "libraries": [{}, [{"id": 1}], [{"modeId": 7}]],
    "health": [{"status": "ok"}, {"nonce": 1}, []],
    "account-link-status": [{}, {"linked": "yes"}, {"linked": True, "code": 5}],
    "account-link-start": [{"code": "", "verifyUrl": "http://a/"}, {"code": "A"}, []],
    "server-check": [{}, {"format": "server-check@1", "executable": "", "passed": True, "clauses": []}],
}


def validator(folder, name):
    schema = json.loads((folder / f"{name}.schema.json").read_text())
    jsonschema.Draft202012Validator.check_schema(schema)
    return jsonschema.Draft202012Validator(schema)


def main():
    folder = pathlib.Path(sys.argv[1])
    failures = []

    for name, documents in WRONG.items():
        for document in documents:
            if validator(folder, name).is_valid(document):
                failures.append(f"{name} accepts {json.dumps(document)}")

    def check(name, text):
        for error in validator(folder, name).iter_errors(json.loads(text)):
            failures.append(f"{name}: {error.json_path}: {error.message}")

    with tempfile.TemporaryDirectory() as data:
        os.makedirs(os.path.join(data, "music"))
        environment = dict(os.environ, MEDIASERVER_HEALTH_NONCE="abc")
        server = subprocess.Popen(
            [sys.argv[2], "-addr", "127.0.0.1:0", "-db", os.path.join(data, "library.db")],
            stdout=subprocess.PIPE, env=environment)
        try:
            line = server.stdout.readline().decode()
            root = re.search(r"http://\S+", line).group(0)

            def get(path, body=None):
                headers = {"Content-Type": "application/json"} if body else {}
                request = urllib.request.Request(root + path, body, headers)
                return urllib.request.urlopen(request, timeout=30).read()

            get("api/libraries", json.dumps({"modeId": "music", "path": data + "/music"}).encode())
            check("health", get("api/health"))
            check("modes", get("api/modes"))
            check("libraries", get("api/libraries"))
            check("account-link-status", get("api/account/link/status"))
            check("account-link-start", get("api/account/link/start"))
            check("account-link-status", get("api/account/link/status"))
        finally:
            server.terminate()
            server.wait()

    run = subprocess.run([sys.argv[3], sys.argv[2], "--json"], stdout=subprocess.PIPE)
    check("server-check", run.stdout)
    wrong = subprocess.run([sys.argv[3], "/bin/false", "--json"], stdout=subprocess.PIPE)
    check("server-check", wrong.stdout)
    table = subprocess.run([sys.argv[3], "/bin/false"], stdout=subprocess.PIPE).stdout.decode()
    if wrong.returncode != 1 or "does not keep the contract" not in table:
        failures.append(f"/bin/false is a server: {wrong.returncode}, {table}")

    print("\n".join(failures))
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
