#!/usr/bin/env python3
"""Compares the numbers of `corvane results` with those that Python and PostgreSQL compute.

    results_numbers_test.py CORVANE DOCUMENTATION [RUNS]

Makes random runs, with retests, split, repeated, refused, untrusted and damaged ones. The statements
for PostgreSQL are those of DOCUMENTATION; without pg_virtualenv they are skipped, which is an error
where CI is set.
"""
import collections
import datetime
import json
import math
import os
import pathlib
import random
import re
import shutil
import statistics
import struct
import subprocess
import sys
import tempfile

START = datetime.datetime(2026, 11, 1, 6, tzinfo=datetime.timezone.utc)
DAMAGED = ['', '{"schema":1,', '[]', '{"schema":2,"type":"end","run":"x","station":"s"}', '{"schema":1,"type":"end"}',
           '{"schema":1,"type":"end","run":"y","station":"s","time":"2026-11-01T00:00:00Z","verdict":"pased"}',
           '{"schema":1,"type":"begin","run":"z","station":"s","time":"today"}', '\udcff']


def lines_of_run(number, units):
    """Returns the lines of a random run, and those to write after its end."""
    at = START + datetime.timedelta(minutes=number * 2.5, seconds=random.random())
    station = random.choice(['speaker', 'camera & <co>', 'b\u00fcro "7"'])
    head = {'schema': 1, 'run': f'{random.getrandbits(64):016x}', 'station': station,
            'unit': random.choice(units) if random.random() < 0.95 else None}
    lines = []

    def add(kind, **fields):
        nonlocal at
        at += datetime.timedelta(milliseconds=random.randint(1, 900))
        zone = datetime.timezone(datetime.timedelta(hours=random.choice([0, 1, -5])))
        lines.append(json.dumps({**head, 'type': kind, 'time': at.astimezone(zone).isoformat(timespec='milliseconds'),
                                 **fields}, ensure_ascii=random.random() < 0.5))
    verdict = random.choices(['passed', 'refused', 'untrusted', 'incomplete', None], [90, 3, 2, 3, 2])[0]
    add('begin', count=1, host=f'host-{number % 7}', fixture=None, facts={'model': 'M1', 'build': None})
    for phase in ['tone', 'noise'] if verdict != 'refused' else []:
        add('phaseBegin', phase=phase)
        failed = False
        for attempt in (1, 2):
            failed = False
            for name, mean, deviation in [('loudness', 70, 2), ('carrier', 26e6, 2), ('idle', 3e-9, 4e-10)]:
                upper = mean + (2 if number % 2 else 2.5) * deviation
                value = random.gauss(mean, deviation) if random.random() < 0.99 else None
                inside = value is not None and value <= upper
                failed |= not inside
                add('measurement', phase=phase, name=name, value=value, lower=mean - 9 * deviation if name != 'idle' else None,
                    upper=upper, unitOfMeasure='mV' if name == 'loudness' and number > 9000 else None, inside=inside,
                    attempt=attempt)
            inside = random.random() < 0.98
            failed |= not inside
            add('measurement', phase=phase, name='colour', value=None, check='equals', text='red', expected='red',
                inside=inside, attempt=attempt)
            if attempt == 1:
                if not failed or random.random() < 0.5:
                    break
                add('attempt', phase=phase, attempt=1, verdict='failed', seconds=0.5)
        add('phase', phase=phase, verdict='failed' if failed else 'passed', seconds=random.randint(1, 5000) / 1000,
            reason='too loud' if failed else None)
        if failed and verdict == 'passed':
            verdict = 'failed'
        if failed:
            break
    if not verdict:
        return lines, []
    add('end', verdict=verdict, seconds=random.randint(1, 20000) / 1000, reason=None)
    count = len(lines)
    if random.random() < 0.02:
        add('notice', text='late')
    if random.random() < 0.02:
        add('end', verdict='failed' if verdict != 'failed' else 'passed', seconds=1)
    return lines[:count], lines[count:]


def make_results(folder, count):
    """Writes the lines of the runs into files."""
    files = [[] for _ in range(20)]
    units = [f'SN{number:05}' for number in range(count // 2)]
    for number in range(count):
        lines, late = lines_of_run(number, units)
        cut = random.randint(1, len(lines) - 1) if random.random() < 0.05 else len(lines)
        first, second = random.sample(range(19), 2)
        files[first].append(lines[:cut] + (late if cut == len(lines) else []))
        if cut < len(lines):
            files[second].append(lines[cut:])
    once = [lines for lines in files[3] if sum('"type": "end"' in line for line in lines) < 2]
    files[19] = random.sample(once, len(once) // 2)
    for number, runs in enumerate(files):
        # Neighbours are interleaved, as those of stations that write to one file.
        path = folder / f'line-{number % 3}' / f'{number:02}.jsonl'
        path.parent.mkdir(exist_ok=True)
        with open(path, 'w', encoding='utf-8', errors='surrogateescape') as file:
            for a, b in zip(runs[::2], runs[1::2] + [[]] * (len(runs) % 2)):
                for place in range(max(len(a), len(b))):
                    file.writelines(line + '\n' for run in (a, b) for line in run[place:place + 1])
            file.writelines(line + '\n' for line in DAMAGED)


class Run:
    """A run as its lines tell it, in whichever order they come."""

    def __init__(self):
        self.seen, self.lines, self.ended, self.begun, self.known = set(), [], None, False, False

    def finish(self):
        self.lines.sort(key=lambda line: line['at'])
        first = self.lines[0]
        self.station, self.id, self.at = first['station'], first['run'], first['at']
        self.unit = first['unit'] or self
        self.verdict = self.ended['verdict'] if self.ended else 'unfinished'
        repeated = {(line['phase'], line['attempt']) for line in self.of('attempt')}
        self.measurements = [line for line in self.of('measurement')
                             if (line['phase'], line['attempt']) not in repeated]

    def of(self, kind):
        return [line for line in self.lines if line['type'] == kind]


def read_runs(folder):
    """Returns the runs in the order in which all of each is known, and the numbers of lines left out."""
    runs, order, left = {}, [], collections.Counter()
    for path in sorted(folder.rglob('*.jsonl')):
        for raw in path.read_text('utf-8', 'surrogateescape').split('\n')[:-1]:
            if raw in DAMAGED:
                left['damagedLines'] += 1
                continue
            line = json.loads(raw)
            line['at'] = datetime.datetime.fromisoformat(line['time'])
            run = runs.setdefault(line['run'], Run())
            if run.ended and line['type'] == 'end' and line['verdict'] != run.ended['verdict']:
                left['damagedLines'] += 1
            elif run.known or raw in run.seen:
                left['repeatedLines'] += 1
            else:
                run.seen.add(raw)
                run.lines.append(line)
                run.begun |= line['type'] == 'begin'
                run.ended = line if line['type'] == 'end' else run.ended
                if run.ended is line and run.begun:
                    run.known = True
                    order.append(run)
        halves = [run for run in runs.values() if run.begun and run.ended and not run.known]
        for run in halves:
            run.known = True
        order += halves
    order += [run for run in runs.values() if not run.known]
    for run in order:
        run.finish()
    return order, left


def percentiles(seconds):
    if not seconds:
        return None
    values = sorted(struct.unpack('f', struct.pack('f', value))[0] for value in seconds)
    rank = lambda percent: round(values[math.ceil(len(values) * percent / 100) - 1], 3)
    return {'count': len(values), 'median': rank(50), 'percentile95': rank(95)}


def capability(mean, deviation, lower, upper):
    if not deviation:
        return None, None
    sides = [mean - lower] if lower is not None else []
    sides += [upper - mean] if upper is not None else []
    return ((upper - lower) / deviation / 6 if len(sides) == 2 else None,
            min(sides) / deviation / 3 if sides else None)


def spread(values):
    return statistics.stdev(values) if len(values) > 1 else None


def measurements_of(runs):
    rows = collections.defaultdict(list)
    for run in runs:
        for line in run.measurements:
            key = (line['phase'], line['name'], line.get('unitOfMeasure'), line.get('lower'), line.get('upper'))
            rows[key].append((run, line))
    for (phase, name, unit, lower, upper), lines in rows.items():
        values = [line['value'] for _, line in lines if line['value'] is not None]
        mean = statistics.fmean(values) if values else None
        steps = [abs(b - a) for a, b in zip(values, values[1:])]
        cp, cpk = capability(mean, statistics.fmean(steps) / 1.128 if steps else None, lower, upper)
        pp, ppk = capability(mean, spread(values), lower, upper)
        outside = [line for _, line in lines if not line['inside']]
        row = {'phase': phase, 'name': name, 'isCheck': 'check' in lines[0][1], 'unitOfMeasure': unit,
               'count': len(lines), 'mean': mean, 'deviation': spread(values), 'minimum': min(values, default=None),
               'maximum': max(values, default=None), 'lower': lower, 'upper': upper, 'variousLimits': False,
               'notNumbers': 0 if 'check' in lines[0][1] else len(lines) - len(values), 'outside': len(outside),
               'cp': cp, 'cpk': cpk, 'pp': pp, 'ppk': ppk}
        if outside:
            days = collections.defaultdict(list)
            for run, line in lines:
                days[day_of(run)].append(line)
            row['times'] = []
            for day, each in sorted(days.items()):
                values = [line['value'] for line in each if line['value'] is not None]
                row['times'].append({'from': day, 'count': len(values), 'deviation': spread(values),
                                     'mean': statistics.fmean(values) if values else None,
                                     'outside': sum(not line['inside'] for line in each)})
        yield row


def day_of(run):
    return run.at.astimezone(datetime.timezone.utc).strftime('%Y-%m-%dT00:00')


def failures_of(runs):
    count = collections.Counter()
    for run in runs:
        count.update({(line['phase'], None) for line in run.of('phase') if line['verdict'] == 'failed'})
        count.update({(line['phase'], line['name']) for line in run.measurements if not line['inside']})
    return [{'phase': phase, 'measurement': name, 'runs': number} for (phase, name), number in count.items()]


def phases_of(runs):
    for phase in dict.fromkeys(line['phase'] for run in runs for line in run.of('phaseBegin')):
        ends = [line for run in runs for line in run.of('phase') if line['phase'] == phase]
        yield {'phase': phase, 'failed': sum(line['verdict'] == 'failed' for line in ends),
               'runs': sum(any(line.get('phase') == phase for line in run.lines) for run in runs),
               'repeatedAttempts': sum(line['phase'] == phase for run in runs for line in run.of('attempt')),
               'seconds': percentiles([line['seconds'] for line in ends])}


def station_of(name, runs):
    tested = sorted((run for run in runs if run.verdict != 'refused'), key=lambda run: run.at)
    first, last, times = {}, {}, collections.defaultdict(collections.Counter)
    for run in tested:
        passed = run.verdict == 'passed'
        times[day_of(run)].update(runs=1, passed=passed, firstUnits=run.unit not in first,
                                  firstPassed=run.unit not in first and passed)
        first.setdefault(run.unit, passed)
        last[run.unit] = passed
    verdicts = collections.Counter(run.verdict for run in runs)
    return {'station': name, 'runs': len(runs),
            'verdicts': {verdict: verdicts[verdict] for verdict in
                         ['passed', 'failed', 'incomplete', 'refused', 'untrusted', 'misused', 'unfinished']},
            'units': len(last), 'firstUnits': len(first), 'firstPassYield': sum(first.values()) / len(first),
            'finalYield': sum(last.values()) / len(last),
            'times': [{'from': day, **count} for day, count in sorted(times.items())],
            'seconds': percentiles([run.ended['seconds'] for run in tested if run.ended]),
            'runsPerHour': len(tested) / len({run.at.astimezone(datetime.timezone.utc).strftime('%F %H') for run in tested}),
            'failures': failures_of(runs), 'phases': list(phases_of(runs)), 'measurements': list(measurements_of(runs))}


def differences(expected, actual, place):
    """Yields what differs; lists of objects are compared in any order."""
    if isinstance(expected, dict) and isinstance(actual, dict) and expected.keys() == actual.keys():
        for key in expected:
            yield from differences(expected[key], actual[key], f'{place}/{key}')
    elif isinstance(expected, list) and isinstance(actual, list) and len(expected) == len(actual):
        names = ('station', 'from', 'phase', 'measurement', 'name', 'unitOfMeasure', 'unit', 'upper')
        order = lambda each: [str(each.get(name)) for name in names] if isinstance(each, dict) else [str(each)]
        for number, (a, b) in enumerate(zip(sorted(expected, key=order), sorted(actual, key=order))):
            yield from differences(a, b, f'{place}/{number}')
    elif isinstance(expected, float) and isinstance(actual, (int, float)):
        # Deviations are differences of nearly equal numbers.
        if not math.isclose(expected, actual, rel_tol=1e-7):
            yield f'{place}: {expected} is expected, and there is {actual}'
    elif expected != actual:
        yield f'{place}: {expected} is expected, and there is {actual}'


def from_python(folder):
    runs, left = read_runs(folder)
    stations = collections.defaultdict(list)
    for run in runs:
        stations[run.station].append(run)
    failed = sorted((run for run in runs if run.verdict not in ('passed', 'refused')), key=lambda run: run.at)
    return {'stations': [station_of(name, each) for name, each in stations.items()],
            'failedRuns': [run.id for run in failed[-500:]], 'failedRunCount': len(failed), **left}


def from_postgres(documentation, folder):
    """Returns the rows of the documented views: yields, failures and statistics."""
    blocks = re.findall('```sql\n(.*?)```', documentation.read_text(), re.DOTALL)
    tables, load = blocks[0], blocks[1]
    views = {'yields': 'station', 'failures': 'station, phase, measurement', 'statistics': 'station, phase, name, unit, upper'}
    script = tables + load + load + ''.join(
        f"SELECT jsonb_agg(to_jsonb(v)) FROM (SELECT * FROM {view}) v;\n" for view in [*views, 'left_out'])
    (folder / 'script.sql').write_text(script)
    shell = ("cat line-*/*.jsonl | tr '\\000' '\\001' > results.jsonl && "
             'pg_virtualenv -s sh -c "createdb -T template0 -E UTF8 lines && psql -Atq -v ON_ERROR_STOP=1 -d lines -f script.sql"')
    output = subprocess.run(shell, shell=True, cwd=folder, check=True, capture_output=True, text=True).stdout
    tables = [json.loads(text) for text in output.splitlines() if text.startswith('[')]
    return dict(zip([*views, 'left_out'], tables))


def as_views(results):
    """Returns the tool's numbers as the rows of the views."""
    yields, failures, numbers = [], [], []
    for station in results['stations']:
        name = station['station']
        yields.append({'station': name, 'runs': station['runs'], 'units': station['units'],
                       'first_pass': station['firstPassYield'], 'final': station['finalYield'],
                       **station['verdicts']})
        failures += [{'station': name, **each} for each in station['failures']]
        numbers += [{'station': name, 'phase': each['phase'], 'name': each['name'], 'unit': each['unitOfMeasure'],
                     **{key: each[key] for key in ['lower', 'upper', 'count', 'mean', 'deviation', 'minimum', 'maximum',
                                                   'outside', 'pp', 'ppk']}} for each in station['measurements']]
    return {'yields': yields, 'failures': failures, 'statistics': numbers,
            'left_out': [{'lines': results['damagedLines']}]}


def main():
    corvane, documentation, count = sys.argv[1], pathlib.Path(sys.argv[2]), int((sys.argv + ['20000'])[3])
    random.seed(7)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        make_results(folder, count)
        tool = subprocess.run([corvane, 'results', '--json', name], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                              env={**os.environ, 'TZ': 'UTC'})
        results = json.loads(tool.stdout)
        expected = from_python(folder)
        actual = {key: results[key] for key in expected}
        actual['failedRuns'] = [run['run'] for run in actual['failedRuns']]
        problems = list(differences(expected, actual, ''))
        if shutil.which('pg_virtualenv'):
            problems += differences(from_postgres(documentation, folder), as_views(results), 'PostgreSQL')
        elif os.environ.get('CI'):
            problems.append('there is no pg_virtualenv; script/bootstrap installs it')
        else:
            print('skipped PostgreSQL: there is no pg_virtualenv')
    sys.exit('\n'.join(problems[:30]) or 0)


main()
