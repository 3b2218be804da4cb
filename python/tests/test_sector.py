"""The sector store: records written and read back exactly, RecId given back, deletes."""
import datetime

import pytest

import kivdbxt

pytestmark = pytest.mark.skipif(not hasattr(kivdbxt, "KivSector"),
                                reason="this library has no sector store")


def test_records_round_trip(folder):
    store = kivdbxt.CreateObject("KivDbXtOle.KivSector")
    base = folder + "/recs"
    assert store.SectorCreate(base, 128) is False
    with store:
        assert store.SectorOpen(base) is False
        failed, first = store.SectorWrite(0, "t\u00e9xt \U0001F600")
        assert (failed, first) == (False, 1)
        failed, second = store.SectorWrite(0, bytes(range(256)) * 3)
        assert (failed, second) == (False, 2)
        assert store.SectorRead(1) == (False, "t\u00e9xt \U0001F600")
        assert store.SectorRead(2) == (False, bytes(range(256)) * 3)
        failed, length, modified = store.SectorInfo(2)
        assert (failed, length) == (False, 768)
        assert abs(modified - datetime.datetime.now()) < datetime.timedelta(minutes=5)
        assert store.SectorDelete(1) is False
        ids = kivdbxt.Collection()
        assert store.SectorList(ids) is False and list(ids) == [2]
        assert store.SectorRead(1)[0] is True
        rec = kivdbxt.LastErrorRecord()
        assert (rec.Number, rec.Source, rec.Description) == \
            (20000, "KivSector.SectorRead", "Il record 1 non esiste.")
    assert store.FileName == ""
