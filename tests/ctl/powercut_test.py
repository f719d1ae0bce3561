"""Power cuts: every state that one may leave on the disk loads as the old store or as the new one.

What a run does to the disk is recorded; from that, for a cut behind each call, every state is built that may then stand
there (disk.py says which). The checker itself is checked with the fsyncs left out: it must find the loss.
"""

import harness
from disk import states_after_a_cut
from harness import CTL, ROOT, SCRATCH, STATE, STORE, exe, store_bytes
from recording import Sync, record

FOLDER = ROOT / "manifest"
STATE_FILE = STATE / "current.json"
BELOW = [str(ROOT), "/var/lib"]


def files_now():
    """What stands on the disk, but for the locks: nobody reads those after a cut."""
    found = [path for folder in (ROOT, STATE) if folder.exists() for path in folder.iterdir()]
    return {str(path): path.read_bytes() for path in found if path.is_file() and path.suffix != ".lock"}


@harness.uncounted("the counts are writes, too")
class PowerCutTest(harness.CtlTest):
    def setUp(self):
        super().setUp()
        FOLDER.mkdir()

    def manifest(self, name, *entries, folder=SCRATCH):
        path = folder / name
        path.write_text('<vpn rev="1.0">' + "".join(entries) + "</vpn>")
        return str(path)

    def record(self, *arguments):
        """What stood on the disk before a run, what the run did to it, and what stands there now."""
        before = files_now()
        steps, end = record([CTL, *arguments], BELOW, SCRATCH)
        self.assertEqual(end.returncode, 0, end.stderr)
        steps = [step for step in steps if not getattr(step, "path", "").endswith(".lock")]
        return before, steps, files_now()

    # The store alone

    def losses(self, before, steps, after):
        """What is wrong with the store in some state: the number of calls before the cut, and the bytes found."""
        old, new = before.get(str(STORE)), after.get(str(STORE))
        return [(done, state.get(str(STORE))) for done, state in states_after_a_cut(before, steps)
                if state.get(str(STORE)) not in ((old, new) if done < len(steps) else (new,))]

    def check_apply(self, *arguments):
        before, steps, after = self.record("apply", *arguments)
        self.assertNotEqual(before, after)
        self.assertEqual(self.losses(before, steps, after), [])
        for sync in [step for step in steps if isinstance(step, Sync)]:
            left_out = [step for step in steps if step is not sync]
            self.assertNotEqual(self.losses(before, left_out, after), [], f"{sync} is not needed, or not checked")

    def test_a_first_store(self):
        self.check_apply("-i", self.manifest("m.xml", exe("a", "1")))

    def test_an_update(self):
        STORE.write_bytes(store_bytes(("a", "exe", "1"), ("b", "exe", "1")))
        self.check_apply("-i", self.manifest("m.xml", exe("a", "2"), exe("c", "1")))

    def test_the_last_entry_gone(self):
        STORE.write_bytes(store_bytes(("a", "exe", "1")))
        self.check_apply("-x", self.manifest("m.xml", exe("a", "1")))

    # Store and state

    def sync_losses(self, before, steps, after):
        """The same for sync: both files, and that what it has recorded is claimed."""
        wrong = []
        claimed = self.claims_of(steps)
        for done, state in states_after_a_cut(before, steps):
            store, claims = state.get(str(STORE)), state.get(str(STATE_FILE))
            old, new = before.get(str(STORE)), after.get(str(STORE))
            is_over = done == len(steps)
            if store not in ((new,) if is_over else (old, new)):
                wrong.append((done, "store", store))
            if claims not in ((after[str(STATE_FILE)],) if is_over else (before.get(str(STATE_FILE)), *claimed)):
                wrong.append((done, "state", claims))
            if store == new and new not in (None, old) and (claims is None or b'"new"' not in claims):
                wrong.append((done, "recorded and not claimed", claims))
        return wrong

    @staticmethod
    def claims_of(steps):
        """The whole states that were written."""
        return [step.data for step in steps if getattr(step, "data", b"").startswith(b'{\n  "format"')]

    def check_sync(self):
        before, steps, after = self.record("sync")
        self.assertEqual(self.sync_losses(before, steps, after), [])
        for sync in [step for step in steps if isinstance(step, Sync)]:
            left_out = [step for step in steps if step is not sync]
            self.assertNotEqual(self.sync_losses(before, left_out, after), [], f"{sync} is not needed, or not checked")
        self.check_next_sync(before, steps, after)

    def check_next_sync(self, before, steps, after):
        """From each state the next run comes to the same end."""
        seen = set()
        for done, state in states_after_a_cut(before, steps):
            leftovers = sum(name not in (str(STORE), str(STATE_FILE)) for name in state)
            key = (state.get(str(STORE)), state.get(str(STATE_FILE)), leftovers)
            if key not in seen:
                seen.add(key)
                self.lay(state)
                run = self.ctl("sync")
                self.assertEqual((run.status, files_now()), (0, after), (done, key, run))

    def lay(self, state):
        STATE.mkdir(exist_ok=True)
        for path in (*ROOT.iterdir(), *STATE.iterdir()):
            if path.is_file():
                path.unlink()
        for path, content in state.items():
            with open(path, "wb") as file:
                file.write(content)

    def test_a_first_sync(self):
        self.manifest("a.xml", exe("new", "1"), folder=FOLDER)
        self.check_sync()

    def test_a_sync_that_records_and_strikes(self):
        self.manifest("a.xml", exe("gone", "1"), exe("same", "1"), folder=FOLDER)
        self.ctl("sync", status=0)
        self.manifest("a.xml", exe("same", "1"), exe("new", "1"), folder=FOLDER)
        self.check_sync()

    def test_a_sync_that_strikes_the_last_entry(self):
        self.manifest("a.xml", exe("gone", "1"), folder=FOLDER)
        self.ctl("sync", status=0)
        (FOLDER / "a.xml").unlink()
        self.check_sync()

    def test_a_sync_that_writes_the_state_alone(self):
        STORE.write_bytes(store_bytes(("new", "exe", "1")))
        self.manifest("a.xml", exe("new", "1"), folder=FOLDER)
        self.check_sync()

    # The checker

    def test_without_any_fsync_the_checker_finds_the_loss(self):
        STORE.write_bytes(store_bytes(("a", "exe", "1")))
        before, steps, after = self.record("apply", "-i", self.manifest("m.xml", exe("b", "1")))
        found = {content for _, content in
                 self.losses(before, [step for step in steps if not isinstance(step, Sync)], after)}
        self.assertIn(b"", found, "the new name with no bytes")
        self.assertIn(after[str(STORE)][:9], found, "the new name with some of the bytes")
        self.assertIn(bytes(len(after[str(STORE)])), found, "the new name with zeros")
        self.assertIn(before[str(STORE)], found, "the old bytes although the run has ended")

    def test_the_tool_itself_is_found_out(self):
        STORE.write_bytes(store_bytes(("a", "exe", "1")))
        before = files_now()
        steps, _ = record([harness.TOOL, "-i", str(ROOT), self.manifest("m.xml", exe("b", "1"))], BELOW, SCRATCH)
        self.assertIn(b"", {content for _, content in self.losses(before, steps, files_now())})


if __name__ == "__main__":
    harness.main()
