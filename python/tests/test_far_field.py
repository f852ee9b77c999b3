"""The far field past the jet through the Python package: its inputs, series and data frame."""

import math

import pytest
from conftest import VENT

from ostreljet import Model


def test_far_field_series_and_inputs():
    with Model.from_scenario(VENT) as model:
        model.set_far_field(dispersion="urban", averaging_time=3600, distance=5000)
        with pytest.raises(ValueError, match="farFieldDistance"):
            model.set_far_field(distance=-1)
        with pytest.raises(ValueError, match="rural"):
            model.set_far_field(dispersion="suburban")
        assert model.far_field.hand_off == "not computed"
        assert model.run() is True
        far = model.far_field
        assert far.hand_off in ("end of the jet", "passive transition")
        assert far.downwindDistance[0] == far.figures["handOffDistance"]
        assert far.downwindDistance[-1] == far.figures["endDistance"] == 5000.0
        assert 0.9 < far.figures["continuityRatio"] < 1.1
        assert all(g > 0 for g in far.groundLevelConcentration[1:])
        assert set(far.regime) == {1.0}
        # The concentration query answers from the far field past the hand-off, nothing beyond the end.
        assert model.concentration(5000.0, 0.0, 0.0) == pytest.approx(far.groundLevelConcentration[-1], rel=1e-12)
        assert math.isnan(model.concentration(5000.5, 0.0, 0.0))


def test_far_field_data_frame():
    pandas = pytest.importorskip("pandas")
    with Model.from_scenario(VENT) as model:
        model.run()
        frame = model.far_field.to_dataframe()
        assert isinstance(frame, pandas.DataFrame)
        assert list(frame.columns)[:2] == ["downwindDistance", "height"]
        assert len(frame) > 100
