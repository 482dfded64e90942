"""hostmem-exporter as a server.

usage: server_test.py EXPORTER MAKE_LARGE_HOST SAMPLES WORK [unittest arguments]
"""
import base64
import concurrent.futures
import contextlib
import http.client
import os
import re
import resource
import select
import shutil
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import time
import unittest

EXPORTER, MAKE_LARGE_HOST, SAMPLES, WORK = sys.argv[1:5]
SNAPSHOT = SAMPLES + "/small-host.snapshot"
TEA_HASH = "$2b$04$p/oB3eJFleJ73j9TjiybT.mfLvvCL1ev3UpxHNubAJnG6rtqXHcye"  # of "tea", with the least work
OPENMETRICS = "application/openmetrics-text; version=1.0.0"


class Exporter:
    """A running exporter; it is ended with the block."""

    def __init__(self, *options, address="127.0.0.1:0", environment=None, **process):
        self.log = tempfile.TemporaryFile(dir=WORK)
        if address is not None:
            options += ("--web.listen-address", address)
        self.process = subprocess.Popen([EXPORTER, *options], stderr=self.log, env={**os.environ, **(environment or {})}, **process)
        self.port = self.wait_for_port()

    def messages(self):
        self.log.seek(0)
        return self.log.read().decode()

    def wait_for_port(self):
        for _ in range(600):
            found = re.search(r"serves https?://.*:(\d+)/metrics", self.messages())
            if found:
                return int(found[1])
            if self.process.poll() is not None:
                break
            time.sleep(0.05)
        self.process.kill()
        raise AssertionError("no port: " + self.messages())

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait(20)
        self.log.close()

    def connection(self):
        """One to keep. Others are closed by the exporter some time after the client has closed them: where descriptors
        are counted, this is the only one."""
        return contextlib.closing(http.client.HTTPConnection("127.0.0.1", self.port, timeout=30))

    def get(self, path="/metrics", method="GET", headers=None, body=None, timeout=30):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=timeout)
        try:
            connection.request(method, path, body, headers or {})
            response = connection.getresponse()
            return response.status, dict(response.getheaders()), response.read().decode()
        finally:
            connection.close()

    def metric(self, name, text=None):
        text = self.get()[2] if text is None else text
        found = re.search(rf"^{re.escape(name)} (\S+)$", text, re.M)
        return float(found[1]) if found else None

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.process.pid}/fd"))

    def children(self):
        """The readers, zombies included."""
        with open(f"/proc/{self.process.pid}/task/{self.process.pid}/children", encoding="ascii") as children:
            return [int(pid) for pid in children.read().split()]

    def wait_for_children(self, count):
        for _ in range(400):
            if len(self.children()) == count:
                break
            time.sleep(0.05)
        return self.children()

    def resident(self):
        with open(f"/proc/{self.process.pid}/statm", encoding="ascii") as statm:
            return int(statm.read().split()[1]) * os.sysconf("SC_PAGESIZE")


def ask(connection, path="/metrics"):
    connection.request("GET", path)
    response = connection.getresponse()
    assert response.status == 200, response.status
    return response.read().decode()


def recorded_tree():
    """A folder with the kernel files of a host with 8 GB."""
    root = tempfile.mkdtemp(dir=WORK)
    os.makedirs(root + "/proc/self")
    os.makedirs(root + "/sys/kernel")
    with open(root + "/proc/meminfo", "w", encoding="ascii") as meminfo:
        meminfo.write("MemTotal: 8388608 kB\nMemFree: 2097152 kB\n")
    return root


class Pages(unittest.TestCase):
    def test_metrics_are_text_or_openmetrics(self):
        with Exporter("-c", SNAPSHOT) as exporter:
            status, headers, text = exporter.get()
            self.assertEqual((status, headers["Content-Type"]), (200, "text/plain; version=0.0.4; charset=utf-8"))
            self.assertIn('\nhostmem_vm_swapped_bytes{vm="rowan"} 12582912\n', text)
            self.assertNotIn("# EOF", text)
            status, headers, text = exporter.get(headers={"Accept": OPENMETRICS})
            self.assertEqual((status, headers["Content-Type"]), (200, OPENMETRICS + "; charset=utf-8"))
            self.assertIn('\nhostmem_vm_swapped_bytes{vm="rowan"} 12582912\n', text)
            self.assertTrue(text.endswith("# EOF\n"))
            self.assertEqual(headers["Vary"], "Accept")

    def test_both_texts_are_read_by_another_reader(self):
        parse = ["/usr/bin/python3", os.path.dirname(__file__) + "/../export/parse_metrics.py"]
        if subprocess.run(["/usr/bin/python3", "-c", "import prometheus_client"], stderr=subprocess.DEVNULL, check=False).returncode != 0:
            self.skipTest("python3-prometheus-client is not installed")
        with Exporter("--processes") as exporter:
            openmetrics = exporter.get(headers={"Accept": OPENMETRICS})[2]
            text = exporter.get()[2]
        samples = sum(not line.startswith("#") for line in text.splitlines())
        for arguments, content in (([], openmetrics), (["004"], text)):
            parsed = subprocess.run(parse + arguments, input=content, capture_output=True, text=True, check=False)
            self.assertEqual((parsed.stdout, parsed.stderr), (f"1 {samples}\n", ""))

    def test_text_passes_the_checks_of_prometheus(self):
        if shutil.which("promtool") is None:
            self.skipTest("promtool is not installed")
        with Exporter("-c", SNAPSHOT, "--processes") as exporter:
            text = exporter.get()[2]
        checked = subprocess.run(["promtool", "check", "metrics"], input=text, capture_output=True, text=True, check=False)
        self.assertEqual((checked.returncode, checked.stdout, checked.stderr), (0, "", ""))

    def test_other_pages(self):
        with Exporter("-c", SNAPSHOT) as exporter:
            self.assertEqual(exporter.get("/healthz")[::2], (200, "ok\n"))
            status, headers, page = exporter.get("/")
            self.assertEqual((status, headers["Content-Type"]), (200, "text/html; charset=utf-8"))
            self.assertIn('<a href="/metrics">', page)
            self.assertEqual(exporter.get("/metrics/x")[::2], (404, "no such page\n"))
            for method in "POST", "PUT", "DELETE", "OPTIONS":
                status, headers, _ = exporter.get(method=method, body="x" * 100000)
                self.assertEqual((status, headers["Allow"]), (405, "GET, HEAD"), method)
            whole = exporter.get()
            status, headers, body = exporter.get(method="HEAD")
            self.assertEqual((status, body), (200, ""))
            self.assertAlmostEqual(int(headers["Content-Length"]), len(whole[2]), delta=100)

    def test_own_metrics(self):
        with Exporter("-c", SNAPSHOT) as exporter:
            text = exporter.get()[2]
            self.assertEqual(exporter.metric("hostmem_scrape_timed_out", text), 0)
            self.assertEqual(exporter.metric("hostmem_series_dropped", text), 0)
            self.assertEqual(exporter.metric('hostmem_report_success{report="vm-stats"}', text), 1)
            self.assertGreater(exporter.metric("process_resident_memory_bytes", text), 1e6)
            self.assertEqual(exporter.metric('hostmem_host_info{host="aspen"}', text), 1)

    def test_descriptors_are_counted(self):
        with Exporter("-c", SNAPSHOT) as exporter, exporter.connection() as connection:
            self.assertEqual(exporter.metric("process_open_fds", ask(connection)), exporter.descriptors())

    def test_cap_includes_the_exporter(self):
        with Exporter("-c", SAMPLES + "/hypervisor-host.snapshot", "--processes", "--max-series", "500") as exporter:
            text = exporter.get()[2]
            self.assertLessEqual(sum(not line.startswith("#") for line in text.splitlines()), 500)
            self.assertGreater(exporter.metric("hostmem_series_dropped", text), 0)
            self.assertIn('hostmem_vm_consumed_bytes{vm="other"}', text)


class Reading(unittest.TestCase):
    def test_answer_is_kept_for_a_second(self):
        with Exporter("-c", SNAPSHOT) as exporter:
            name = "hostmem_exporter_scrapes_total"
            self.assertEqual([exporter.metric(name), exporter.metric(name)], [1, 1])
            time.sleep(1.1)
            self.assertEqual(exporter.metric(name), 2)

    def test_snapshot_is_read_each_time(self):
        with tempfile.TemporaryDirectory(dir=WORK) as folder:
            path = folder + "/host.snapshot"
            with Exporter("-c", path) as exporter:
                status, _, text = exporter.get()
                self.assertEqual((status, exporter.metric('hostmem_report_success{report="vm-stats"}', text)), (200, 0))
                self.assertIn(path + ": cannot be read: No such file or directory\n", exporter.messages())
                shutil.copy(SNAPSHOT, path)
                time.sleep(1.1)
                self.assertEqual(exporter.metric('hostmem_report_success{report="vm-stats"}'), 1)

    def test_pipe_in_the_place_of_a_kernel_file_does_not_block(self):
        root = recorded_tree()
        os.mkfifo(root + "/proc/vmstat")
        os.mkfifo(root + "/proc/slabinfo")
        with Exporter("--root", root) as exporter:
            text = exporter.get()[2]
            self.assertEqual(exporter.metric("hostmem_memory_free_bytes", text), 2097152 * 1024)
            self.assertEqual(exporter.metric("hostmem_scrape_timed_out", text), 0)

    def test_reading_that_hangs_is_stopped_and_says_so(self):
        with self.hanging("--scrape-timeout", "1") as exporter:
            for i in 1, 2:
                begin = time.monotonic()
                status, _, text = exporter.get()
                self.assertEqual(status, 200)
                self.assertLess(time.monotonic() - begin, 20)
                self.assertEqual(exporter.metric("hostmem_scrape_timed_out", text), 1)
                self.assertEqual(exporter.metric('hostmem_report_success{report="comp-stats"}', text), 1)
                self.assertEqual(exporter.metric('hostmem_report_success{report="group-stats"}', text), 0)
                self.assertIsNotNone(exporter.metric("hostmem_memory_free_bytes", text))
                self.assertEqual(exporter.metric("hostmem_exporter_scrapes_timed_out_total", text), i)
                self.assertEqual(exporter.get("/healthz")[0], 200)
                time.sleep(1.1)
            self.assertEqual(exporter.messages().count("takes too long"), 1)

    def test_reader_that_is_killed_leaves_what_it_has_read(self):
        with self.hanging("--scrape-timeout", "100") as exporter, concurrent.futures.ThreadPoolExecutor(1) as pool:
            answer = pool.submit(exporter.get)
            reader, = exporter.wait_for_children(1)
            self.wait_until_it_hangs(reader)
            links = {os.readlink(f"/proc/{reader}/fd/{name}") for name in os.listdir(f"/proc/{reader}/fd")}
            self.assertEqual([link for link in links if link.startswith(("socket:", "anon_inode:"))], [])
            os.kill(reader, signal.SIGKILL)
            status, _, text = answer.result(30)
            self.assertEqual(status, 200)
            self.assertEqual(exporter.metric('hostmem_report_success{report="comp-stats"}', text), 1)
            self.assertEqual(exporter.metric('hostmem_report_success{report="group-stats"}', text), 0)
            self.assertIsNotNone(exporter.metric("hostmem_memory_free_bytes", text))
            self.assertEqual(exporter.metric("hostmem_scrape_timed_out", text), 0)
            self.assertIn("hostmem-exporter: a reader ended before it was done\n", exporter.messages())
            self.assertEqual(exporter.wait_for_children(0), [])

    def test_end_of_the_exporter_ends_its_reader(self):
        for number in signal.SIGTERM, signal.SIGKILL:
            with self.hanging("--scrape-timeout", "100") as exporter:
                with socket.create_connection(("127.0.0.1", exporter.port)) as client:
                    client.sendall(b"GET /metrics HTTP/1.1\r\nHost: x\r\n\r\n")
                    reader, = exporter.wait_for_children(1)
                    self.wait_until_it_hangs(reader)
                    ended = os.pidfd_open(reader)
                    exporter.process.send_signal(number)
                    has_ended = select.select([ended], [], [], 30)[0] == [ended]
                    with contextlib.suppress(ProcessLookupError):
                        signal.pidfd_send_signal(ended, signal.SIGKILL)
                    os.close(ended)
                    self.assertTrue(has_ended)

    def hanging(self, *options):
        """An exporter whose reader never comes back from what the groups are read from."""
        library = tempfile.mkdtemp(dir=WORK)
        source = library + "/hang.c"
        with open(source, "w", encoding="ascii") as file:
            file.write(HANGING_LIBRARY)
        compiled = subprocess.run(["cc", "-shared", "-fPIC", "-o", library + "/hang.so", source], capture_output=True, check=False)
        if compiled.returncode != 0:
            self.skipTest("no C compiler")
        return Exporter(*options, environment={"LD_PRELOAD": library + "/hang.so"})

    def wait_until_it_hangs(self, reader):
        for _ in range(400):
            with open(f"/proc/{reader}/comm", encoding="ascii") as name:
                if name.read() == "hanging\n":
                    return
            time.sleep(0.05)
        self.fail("the reader does not hang")

    def test_snapshot_that_is_none_is_told(self):
        with Exporter("-c", "/dev/zero", "--scrape-timeout", "5") as exporter:
            status, _, text = exporter.get()
            self.assertEqual(status, 200)
            self.assertEqual(exporter.metric('hostmem_report_success{report="vm-stats"}', text), 0)
            self.assertEqual(exporter.metric("hostmem_scrape_timed_out", text), 0)
            self.assertIn("hostmem-exporter: /dev/zero: ", exporter.messages())


# Takes over the opening of files: of /proc/self/mountinfo, which the groups need, it never comes back, and the process is
# called so.
HANGING_LIBRARY = r"""
#define _GNU_SOURCE
#include <fcntl.h>
#include <stdarg.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>
static void hang(const char *path)
{
   if (strstr(path, "mountinfo") != 0) {
      prctl(PR_SET_NAME, "hanging");
      for (;;) {
         pause();
      }
   }
}
int openat(int folder, const char *path, int flags, ...)
{
   hang(path);
   return (int)syscall(SYS_openat, folder, path, flags, 0600);
}
int __openat_2(int folder, const char *path, int flags)
{
   hang(path);
   return (int)syscall(SYS_openat, folder, path, flags, 0);
}
int openat64(int folder, const char *path, int flags, ...)
{
   hang(path);
   return (int)syscall(SYS_openat, folder, path, flags, 0600);
}
"""


class Clients(unittest.TestCase):
    def test_fifty_at_once_share_one_reading(self):
        with Exporter("-c", SNAPSHOT) as exporter:
            with concurrent.futures.ThreadPoolExecutor(50) as pool:
                texts = list(pool.map(lambda _: exporter.get(), range(50)))
            self.assertEqual({status for status, _, _ in texts}, {200})
            readings = max(exporter.metric("hostmem_exporter_scrapes_total", text) for _, _, text in texts)
            self.assertLessEqual(readings, 5)

    def test_half_open_ones_do_not_keep_others_waiting_and_are_cut_off(self):
        with Exporter("-c", SNAPSHOT, "--web.timeout", "1") as exporter:
            before = exporter.metric("process_open_fds")
            halves = [socket.create_connection(("127.0.0.1", exporter.port)) for _ in range(60)]
            for i, half in enumerate(halves):
                half.sendall(b"GET /metrics HTTP/1.1\r\nHost: x\r\n"[: i % 30])
            self.assertEqual(exporter.get()[0], 200)
            time.sleep(4)
            for half in halves:
                half.settimeout(5)
                self.assertIn(half.recv(1000)[:12], (b"", b"HTTP/1.1 408"))
                half.close()
            self.assertEqual(exporter.metric("process_open_fds"), before)

    def test_slow_reader_and_slow_writer_are_cut_off(self):
        with Exporter("-c", SAMPLES + "/hypervisor-host.snapshot", "--web.timeout", "1") as exporter:
            size = len(exporter.get()[2])
            writer = socket.create_connection(("127.0.0.1", exporter.port))
            reader = socket.socket()
            reader.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 2048)
            reader.connect(("127.0.0.1", exporter.port))
            reader.settimeout(30)
            reader.sendall(b"GET /metrics HTTP/1.1\r\nHost: x\r\n\r\n" * 100)
            taken = written = 0
            is_open = True
            for byte in (b"GET /metrics HTTP/1.1\r\nHost: " + b"x" * 1000)[:25]:
                try:
                    writer.sendall(bytes([byte]))
                    written += is_open
                except OSError:
                    is_open = False
                taken += len(reader.recv(1000))
                time.sleep(0.2)
            self.assertEqual(exporter.get("/healthz")[0], 200)
            self.assertFalse(is_open)
            self.assertGreater(written, 2)
            try:
                while part := reader.recv(1 << 20):
                    taken += len(part)
            except ConnectionError:
                pass
            self.assertLess(taken, 50 * size)
            writer.close()
            reader.close()

    def test_request_of_any_size_and_content_is_refused_not_read(self):
        with Exporter("-c", SNAPSHOT, "--web.timeout", "2") as exporter:
            resident = exporter.resident()
            for request in (
                b"GET /" + b"a" * 10_000_000,
                b"GET /metrics HTTP/1.1\r\n" + b"X: y\r\n" * 1_000_000,
                b"GET /metrics HTTP/1.1\r\nHost: x\r\nAccept: " + b'"' * 10_000 + b"\r\n\r\n",
                b"\x16\x03\x01" + bytes(1000),
                b"GET /metrics HTTP/1.1\r\nHost: x\r\nContent-Length: 99999999999\r\n\r\n",
            ):
                with socket.create_connection(("127.0.0.1", exporter.port)) as client:
                    client.settimeout(20)
                    try:
                        client.sendall(request)
                        client.recv(100)
                    except OSError:
                        pass
            self.assertEqual(exporter.get()[0], 200)
            self.assertLess(exporter.resident(), resident + 20_000_000)

    def test_many_requests_leave_nothing_behind(self):
        with Exporter("-c", SNAPSHOT, environment={"MALLOC_ARENA_MAX": "1"}) as exporter, exporter.connection() as connection:
            for _ in range(500):
                ask(connection)
            resident, descriptors = exporter.resident(), exporter.descriptors()
            for _ in range(10_000):
                ask(connection)
            self.assertEqual(exporter.descriptors(), descriptors)
            self.assertLess(exporter.resident(), resident + 1_000_000)

    def test_readings_leave_nothing_behind(self):
        with Exporter("-c", SNAPSHOT) as exporter, exporter.connection() as connection:
            ask(connection)
            descriptors = exporter.descriptors()
            for i in range(2, 6):
                time.sleep(1.05)
                self.assertEqual(exporter.metric("hostmem_exporter_scrapes_total", ask(connection)), i)
                self.assertEqual(exporter.descriptors(), descriptors)
                self.assertEqual(exporter.wait_for_children(0), [])

    def test_slow_ones_share_a_text(self):
        with Exporter("-c", SAMPLES + "/hypervisor-host.snapshot", environment={"MALLOC_ARENA_MAX": "1"}) as exporter:
            size = len(exporter.get()[2])
            resident = exporter.resident()
            readers = []
            for _ in range(100):
                reader = socket.socket()
                reader.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 2048)
                reader.connect(("127.0.0.1", exporter.port))
                reader.sendall(b"GET /metrics HTTP/1.1\r\nHost: x\r\n\r\n" * 100)
                readers.append(reader)
            self.assertEqual(exporter.get("/healthz")[0], 200)
            self.assertLess(exporter.resident(), resident + 100 * size / 2)
            for reader in readers:
                reader.close()

    def test_descriptors_that_ran_out_are_there_again(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_NOFILE, (20, 20))

        with Exporter("-c", SNAPSHOT, preexec_fn=limit) as exporter:
            clients = [socket.create_connection(("127.0.0.1", exporter.port)) for _ in range(60)]
            time.sleep(0.5)
            for client in clients:
                client.close()
            time.sleep(0.5)
            self.assertEqual(exporter.get("/healthz")[0], 200)
            self.assertEqual(exporter.metric('hostmem_report_success{report="vm-stats"}'), 1)


class Sizes(unittest.TestCase):
    def memory_of(self, groups):
        """What the exporter holds after three readings of a host with so many groups, what its largest reader took of
        memory of its own, and the size of its two texts: bytes."""
        with tempfile.TemporaryDirectory(dir=WORK) as folder:
            snapshot = folder + "/host.snapshot"
            subprocess.run([MAKE_LARGE_HOST, str(groups), "shuffled", snapshot], check=True)
            # Which has ended when the block does.
            with Exporter("-c", snapshot, "--group-depth", "11", "--scrape-timeout", "100") as exporter:
                before = exporter.resident()
                for _ in range(3):
                    texts = [exporter.get(headers=headers, timeout=120)[2] for headers in ({}, {"Accept": OPENMETRICS})]
                    time.sleep(1.05)
                self.assertEqual(exporter.metric('hostmem_report_success{report="group-stats"}', texts[0]), 1)
                self.assertGreater(exporter.metric("hostmem_series_dropped", texts[0]), 0)
                held = exporter.resident() - before
                exporter.process.terminate()
                _, status, usage = os.wait4(exporter.process.pid, 0)
                exporter.process.returncode = os.waitstatus_to_exitcode(status)
            reader = usage.ru_maxrss * 1024 - before - os.path.getsize(snapshot)
            return held, reader, sum(map(len, texts))

    def test_memory_of_many_groups_is_bounded(self):
        few, many = self.memory_of(10_000), self.memory_of(100_000)
        for held, _, texts in few, many:
            self.assertLess(held, 2.5 * texts)
        self.assertLess(many[0], few[0] + 2_000_000)
        self.assertLess(many[1], 100_000 * 1500)


class Protection(unittest.TestCase):
    def config(self, text):
        folder = tempfile.mkdtemp(dir=WORK)
        with open(folder + "/web.yml", "w", encoding="ascii") as file:
            file.write(text)
        return folder + "/web.yml"

    def test_password_is_asked_for(self):
        config = self.config(f"basic_auth_users:\n  ann: {TEA_HASH}\n")
        with Exporter("-c", SNAPSHOT, "--web.config.file", config) as exporter:
            def status(user=None):
                time.sleep(0.15)  # ten a second are looked at
                headers = {"Authorization": "Basic " + base64.b64encode(user.encode()).decode()} if user else {}
                return exporter.get(headers=headers)

            code, headers, _ = status()
            self.assertEqual(code, 401)
            self.assertIn("Basic realm=", headers["WWW-Authenticate"])
            self.assertEqual(status("ann:tea")[0], 200)
            for wrong in "ann:coffee", "bob:tea", "ann:", ":tea", "ann":
                self.assertEqual(status(wrong)[0], 401, wrong)
            self.assertEqual(status("ann:tea")[0], 200)
            self.assertEqual(exporter.get("/healthz")[0], 401)

    def test_tls(self):
        config = self.config("tls_server_config:\n  cert_file: c.pem\n  key_file: k.pem\n")
        folder = os.path.dirname(config)
        made = subprocess.run(
            ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-subj", "/CN=localhost",
             "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", folder + "/k.pem", "-out", folder + "/c.pem"],
            capture_output=True, check=False)
        if made.returncode != 0:
            self.skipTest("openssl is not installed")
        with Exporter("-c", SNAPSHOT, "--web.config.file", config) as exporter:
            self.assertIn("serves https://", exporter.messages())
            context = ssl.create_default_context(cafile=folder + "/c.pem")
            connection = http.client.HTTPSConnection("127.0.0.1", exporter.port, context=context, timeout=30)
            for _ in range(3):
                connection.request("GET", "/metrics")
                response = connection.getresponse()
                self.assertEqual(response.status, 200)
                self.assertIn("hostmem_vm_swapped_bytes", response.read().decode())
            with self.assertRaises((OSError, http.client.HTTPException)):
                exporter.get()
            old = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
            old.load_verify_locations(folder + "/c.pem")
            old.set_ciphers("ALL:@SECLEVEL=0")
            old.minimum_version = old.maximum_version = ssl.TLSVersion.TLSv1_1
            with self.assertRaises(OSError):
                with socket.create_connection(("127.0.0.1", exporter.port)) as plain:
                    old.wrap_socket(plain, server_hostname="127.0.0.1")
            self.assertEqual(len(response.headers["Content-Type"]) > 0, True)

    def test_configuration_that_is_not_understood_ends_it(self):
        for text, problem in (
            ("tls_server_config:\n  cert_file: c.pem\n  key_file: k.pem\n", "No such file"),
            ("http_server_config:\n  http2: true\n", "http_server_config is not supported"),
        ):
            ended = subprocess.run([EXPORTER, "-c", SNAPSHOT, "--web.config.file", self.config(text)], capture_output=True, text=True, timeout=20, check=False)
            self.assertEqual(ended.returncode, 1)
            self.assertIn(problem, ended.stderr)
        config = self.config("tls_server_config:\n  cert_file: web.yml\n  key_file: web.yml\n")
        ended = subprocess.run([EXPORTER, "-c", SNAPSHOT, "--web.listen-address", "127.0.0.1:0", "--web.config.file", config], capture_output=True, text=True, timeout=20, check=False)
        self.assertEqual(ended.returncode, 1)
        self.assertIn("is the certificate one", ended.stderr)


class Service(unittest.TestCase):
    def test_signals_end_it(self):
        for number in signal.SIGTERM, signal.SIGINT:
            with Exporter("-c", SNAPSHOT) as exporter:
                exporter.get()
                exporter.process.send_signal(number)
                self.assertEqual(exporter.process.wait(20), 0)

    def test_port_in_use_is_an_error(self):
        with socket.create_server(("127.0.0.1", 0)) as other:
            address = "127.0.0.1:%d" % other.getsockname()[1]
            ended = subprocess.run([EXPORTER, "--web.listen-address", address], capture_output=True, text=True, timeout=20, check=False)
        self.assertEqual((ended.returncode, ended.stderr), (1, f"hostmem-exporter: {address}: Address already in use\n"))

    def test_several_addresses(self):
        with Exporter("-c", SNAPSHOT, "--web.listen-address", "127.0.0.1:0") as exporter:
            ports = re.findall(r"127\.0\.0\.1:(\d+)", exporter.messages())
            self.assertEqual(len(set(ports)), 2)
            for port in ports:
                exporter.port = int(port)
                self.assertEqual(exporter.get("/healthz")[0], 200)

    def test_sockets_of_the_service_manager(self):
        if shutil.which("systemd-socket-activate") is None:
            self.skipTest("systemd-socket-activate is not installed")
        with socket.create_server(("127.0.0.1", 0)) as free:
            port = free.getsockname()[1]
        activate = subprocess.Popen(
            ["systemd-socket-activate", "-l", f"127.0.0.1:{port}", EXPORTER, "-c", SNAPSHOT], stderr=subprocess.DEVNULL)
        try:
            for _ in range(100):
                try:
                    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=20)
                    connection.request("GET", "/healthz")
                    break
                except ConnectionRefusedError:
                    time.sleep(0.1)
            self.assertEqual(connection.getresponse().read(), b"ok\n")
        finally:
            activate.terminate()
            activate.wait(20)

    def test_wrong_command_line(self):
        for arguments in (["--nosuch"], ["-r", "nosuch-stats"], ["-r", "dcpmm-stats"], ["--max-series", "10"], ["--group-depth", "0"],
                          ["-c", "a", "--root", "b"], ["--scrape-timeout", "0"], ["stray"]):
            ended = subprocess.run([EXPORTER, *arguments], capture_output=True, text=True, timeout=20, check=False)
            self.assertEqual(ended.returncode, 2, arguments)
            self.assertTrue(ended.stderr.startswith("hostmem-exporter: "), ended.stderr)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[5:]])
