"""Machines for tests: each is a private mount namespace with an /opt, an /etc and a sync state of its own."""
import os
import pathlib
import subprocess

FACT = pathlib.Path(__file__).resolve().parents[2] / "packaging/ansible/obg_manifest.fact"
NOBODY = 65534
# What a machine is made of. $1 is the fact; "ready" on standard output says that it stands.
LAY_DOWN = """set -e
mount -t tmpfs -o mode=755 tmpfs /opt
mkdir -p /opt/etc /opt/state /opt/home /opt/orvanta/brightgate/manifest
chmod 777 /opt/home
cp -a /etc/. /opt/etc
mkdir -p /opt/etc/ansible/facts.d
cp "$1" /opt/etc/ansible/facts.d
mount --bind /opt/etc /etc
mount -t tmpfs tmpfs /var/lib
echo ready
exec sleep infinity
"""


class Machines:
    """A number of machines under names; use as a context, so that they end with it."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.folder.mkdir(exist_ok=True)
        self.holders = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for holder in self.holders:
            holder.kill()
            holder.wait()
            holder.stdout.close()

    def add(self, name, user=0):
        """Lays a machine down and returns its /opt/orvanta/brightgate as seen from here. Commands run there as `user`."""
        holder = subprocess.Popen(["unshare", "--mount", "sh", "-c", LAY_DOWN, "sh", str(FACT)], stdout=subprocess.PIPE)
        self.holders.append(holder)
        if holder.stdout.readline() != b"ready\n":
            raise RuntimeError(f"machine {name} could not be laid down: mount namespaces need root here")
        (self.folder / name).write_text(f"{holder.pid} {user}\n")
        return pathlib.Path(f"/proc/{holder.pid}/root/opt/orvanta/brightgate")

    def environment(self, programs):
        """The environment in which Ansible reaches the machines; `programs` is the folder of obg_manifestctl."""
        return os.environ | {
            "OBG_MACHINES": str(self.folder), "OBG_MACHINE_PATH": str(programs),
            "ANSIBLE_SSH_EXECUTABLE": str(pathlib.Path(__file__).with_name("ssh-into-machine")),
            "ANSIBLE_HOME": str(self.folder / ".ansible"), "ANSIBLE_LOCAL_TEMP": str(self.folder / ".ansible/tmp"),
            "ANSIBLE_NOCOLOR": "1", "LC_ALL": "C.UTF-8"}
