"""Holds the published schema against the rows of configurations.json: it takes what the agent's reader takes and
refuses what the reader refuses, wherever a schema can say it. Arguments: the schema, the rows."""

import copy
import json
import re
import sys

import jsonschema


def without_comments(text):
    return re.sub(r'^\s*//.*$', '', text, flags=re.MULTILINE)


def step(token):
    return token.replace('~1', '/').replace('~0', '~')


def changed(base, pointer, change):
    """The base with `change` done to the container and the key that the JSON pointer names."""
    document = copy.deepcopy(base)
    *path, last = map(step, pointer.split('/')[1:])
    place = document
    for token in path:
        place = place[int(token) if isinstance(place, list) else token]
    change(place, int(last) if isinstance(place, list) else last)
    return document


def put(value):
    def change(place, key):
        if isinstance(place, list) and key == len(place):
            place.append(value)
        else:
            place[key] = value
    return change


def cases(rows):
    """Every document with what the schema should think of it."""
    base = rows['base']
    yield base, True
    for row in rows['good']:
        for value in row['values']:
            yield changed(base, row['at'], put(value)), True
    for row in rows['bad']:
        for place in row['at']:
            for value in row['values']:
                yield changed(base, place, put(value)), False
    for row in rows['missing']:
        yield changed(base, row['at'], lambda place, key: place.pop(key)), False
    for row in rows['unknown']:
        yield changed(base, row['at'], put(1)), False
    for row in rows['twice']:
        yield changed(base, row['at'], put(row['put'])), False
    for row in rows['beyondSchema']:
        yield changed(base, row['at'], put(row['put'])), True
    for row in rows['documents']:
        yield row['put'], False


def main():
    with open(sys.argv[1], encoding='utf-8') as file:
        schema = json.load(file)
    with open(sys.argv[2], encoding='utf-8') as file:
        rows = json.loads(without_comments(file.read()))
    jsonschema.Draft7Validator.check_schema(schema)
    validator = jsonschema.Draft7Validator(schema)
    count = wrong = 0
    for document, good in cases(rows):
        count += 1
        if validator.is_valid(document) != good:
            wrong += 1
            print(f'the schema {"refuses" if good else "takes"} {json.dumps(document)}')
    print(f'{count} documents, {wrong} on which schema and reader differ')
    sys.exit(0 if count > 100 and wrong == 0 else 1)


main()
