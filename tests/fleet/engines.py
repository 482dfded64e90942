"""Engines that the test starts and ends: on loopback, each with a folder of its own, none of them a service."""
import json
import os
import shutil
import socket
import subprocess
import time
import urllib.error
import urllib.parse
import urllib.request

PATH = os.environ.get("PATH", "") + ":/usr/sbin:/sbin"


class Failure(Exception):
    """What went wrong, for the reader."""


def program(name, package):
    path = shutil.which(name, path=PATH)
    if path is None:
        raise Failure(f"{name} is missing: packaging/install-packages test-fleet installs it, with {package}")
    return path


def free_ports(count):
    """Ports that nobody listens on; all different."""
    sockets = [socket.socket() for _ in range(count)]
    for each in sockets:
        each.bind(("127.0.0.1", 0))
    ports = [each.getsockname()[1] for each in sockets]
    for each in sockets:
        each.close()
    return ports


def fetch(url, data=None, timeout=60, headers=None):
    request = urllib.request.Request(url, data=data, headers=headers or {})
    try:
        with urllib.request.urlopen(request, timeout=timeout) as answer:
            return answer.read().decode()
    except urllib.error.HTTPError as error:
        raise Failure(f"{url}: {error.code} {error.read().decode(errors='replace')[:500]}") from error


def run(words, stdin=None, env=None):
    """Standard output of a program; standard error is for when it fails."""
    done = subprocess.run(words, stdin=stdin, capture_output=True, env=env)
    if done.returncode != 0:
        raise Failure(f"{' '.join(words)}: status {done.returncode}: {done.stderr.decode(errors='replace')[-2000:]}")
    return done.stdout.decode()


class Engine:
    """A program that runs until stop()."""

    def __init__(self, name, words, folder, ready):
        self.name = name
        self.log = os.path.join(folder, name + ".log")
        with open(self.log, "wb") as log:
            self.process = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=log, stderr=log, cwd=folder)
        self.ready = ready

    def wait_until_ready(self, seconds=60):
        end = time.monotonic() + seconds
        while True:
            if self.process.poll() is not None:
                raise Failure(f"{self.name} ended with status {self.process.returncode}:\n{self.last_words()}")
            try:
                fetch(self.ready, timeout=5)
                return
            except (Failure, OSError) as error:
                if time.monotonic() > end:
                    raise Failure(f"{self.name} does not answer: {error}\n{self.last_words()}") from error
            time.sleep(0.1)

    def last_words(self):
        with open(self.log, errors="replace") as log:
            return log.read()[-3000:]

    def stop(self):
        if self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(20)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()


class PromQL:
    """Answers of an engine that speaks Prometheus' query language."""

    def __init__(self, url):
        self.url = url

    def ask(self, query, at):
        """[(labels, value)] at a moment, in seconds since 1970."""
        words = urllib.parse.urlencode({"query": query, "time": f"{at:.3f}"})
        answer = json.loads(fetch(f"{self.url}/api/v1/query?{words}"))
        if answer["status"] != "success":
            raise Failure(f"{query}: {answer}")
        return [(sample["metric"], float(sample["value"][1])) for sample in answer["data"]["result"]]


def metrics_of(engine):
    """{name with labels: value} of what an engine says of itself"""
    lines = [line.rsplit(" ", 1) for line in fetch(engine.url + "/metrics").splitlines() if not line.startswith("#")]
    return {name: float(value) for name, value in lines}


class Prometheus(Engine, PromQL):
    def __init__(self, folder, config, consoles):
        (port,) = free_ports(1)
        PromQL.__init__(self, f"http://127.0.0.1:{port}")
        self.data = os.path.join(folder, "data")
        words = [program("prometheus", "prometheus"), f"--config.file={config}", f"--storage.tsdb.path={self.data}",
                 f"--web.listen-address=127.0.0.1:{port}", "--storage.tsdb.retention.time=10y",
                 f"--web.console.templates={consoles}", f"--web.console.libraries={consoles}"]
        Engine.__init__(self, "prometheus", words, folder, self.url + "/-/ready")


class VictoriaMetrics(Engine, PromQL):
    def __init__(self, name, folder):
        (port,) = free_ports(1)
        PromQL.__init__(self, f"http://127.0.0.1:{port}")
        words = [program("victoria-metrics", "victoria-metrics"), f"-httpListenAddr=127.0.0.1:{port}",
                 f"-storageDataPath={os.path.join(folder, name)}", "-retentionPeriod=10y",
                 "-search.latencyOffset=0s", "-memory.allowedBytes=256MB", "-loggerLevel=WARN"]
        Engine.__init__(self, name, words, folder, self.url + "/health")


CLICKHOUSE_USERS = """<yandex>
   <profiles><default>{settings}</default></profiles>
   <quotas><default/></quotas>
   <users>
      <default>
         <password></password><networks><ip>127.0.0.1</ip></networks>
         <profile>default</profile><quota>default</quota>
      </default>
   </users>
</yandex>
"""

CLICKHOUSE_SERVER = """<yandex>
   <logger><level>warning</level><console>1</console></logger>
   <listen_host>127.0.0.1</listen_host>
   <http_port>{http}</http_port>
   <tcp_port>{tcp}</tcp_port>
   <interserver_http_port>{interserver}</interserver_http_port>
   <path>{folder}/data/</path>
   <tmp_path>{folder}/tmp/</tmp_path>
   <mark_cache_size>67108864</mark_cache_size>
   <users_config>users.xml</users_config>
   <default_profile>default</default_profile>
   <default_database>default</default_database>
   <remote_servers>
      <hostmem>
{shards}
      </hostmem>
   </remote_servers>
</yandex>
"""

SHARD = "         <shard><replica><host>127.0.0.1</host><port>{}</port></replica></shard>"


def clickhouse_version():
    words = run([program("clickhouse-client", "clickhouse-client"), "--version"])
    number = next(word for word in words.split() if word[0].isdigit())
    return int(number.split(".")[0]), number.rstrip(".")


class ClickHouse(Engine):
    """One server of the cluster "hostmem"."""

    def __init__(self, name, folder, ports, cluster):
        """ports: http, tcp, interserver; cluster: the tcp ports of all servers"""
        self.folder = os.path.join(folder, name)
        os.makedirs(os.path.join(self.folder, "data"))
        os.makedirs(os.path.join(self.folder, "tmp"))
        self.port = ports[1]
        # So that rows are where they belong when the client ends.
        settings = "<insert_distributed_sync>1</insert_distributed_sync>"
        if clickhouse_version()[0] < 19:  # what is usual today was a trial then
            settings += "<allow_experimental_low_cardinality_type>1</allow_experimental_low_cardinality_type>"
        shards = "\n".join(SHARD.format(port) for port in cluster)
        with open(os.path.join(self.folder, "users.xml"), "w") as file:
            file.write(CLICKHOUSE_USERS.format(settings=settings))
        config = os.path.join(self.folder, "config.xml")
        with open(config, "w") as file:
            file.write(CLICKHOUSE_SERVER.format(http=ports[0], tcp=ports[1], interserver=ports[2],
                                                folder=self.folder, shards=shards))
        words = [program("clickhouse-server", "clickhouse-server"), f"--config-file={config}"]
        Engine.__init__(self, name, words, self.folder, f"http://127.0.0.1:{ports[0]}/ping")

    def client(self, *words):
        return [program("clickhouse-client", "clickhouse-client"), "--host=127.0.0.1", f"--port={self.port}", *words]

    def ask(self, query):
        """[{column: value}], with whole numbers as they are"""
        answer = run(self.client("--query", query + " FORMAT JSONEachRow",
                                 "--output_format_json_quote_64bit_integers=0"))
        return [json.loads(line) for line in answer.splitlines()]

    def do(self, statements):
        run(self.client("--multiquery", "--query", statements))
