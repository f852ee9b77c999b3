"""The summary, units, status, data frames and plots of one run."""


import pytest

from conftest import VENT

import ostreljet
from ostreljet import Model


def _refused_vent():
    # The vent at 0.01 kg/s: the exit velocity is below three times the wind's, so the source checks refuse it.
    model = Model.from_scenario(VENT)
    model.massFlowrate = 0.01
    return model


def test_gas_fills_the_source_properties_as_scenarios_do():
    with Model() as m:
        assert m.gas is None
        m.gas = "propane"
        assert m.gas == "propane"
        assert (m.sourceMolecularWeight, m.sourceSpecificHeat, m.sourceSpecificHeatRatio) == (0.044096, 1669.0, 1.127)
        with pytest.raises(ValueError, match='unknown gas "kryptonite"'):
            m.gas = "kryptonite"
        assert m.gas == "propane"
        m.gas = None
        assert m.gas is None and m.sourceMolecularWeight == 0.044096
    # A gas given with explicit source properties: the explicit ones win, whatever the keyword order.
    with Model(sourceMolecularWeight=0.05, gas="methane") as m:
        assert m.gas == "methane" and m.sourceMolecularWeight == 0.05
        assert m.to_dict()["gas"] == "methane"
    assert "chlorine" in ostreljet.gases()


def test_summary_in_two_units_gives_the_same_distances():
    with Model.from_scenario(VENT) as m:
        m.gas = "methane"
        assert m.run() is True and m.status == "ok" and m.ending == "stopping concentration"
        percent = m.summary(levels="LFL,2%", unit="%")
        ppm = m.summary(levels=["LFL", "20000ppm"], unit="ppm")
        assert [level["text"] for level in percent.levels] == ["LFL", "2%"]
        assert [level["level"] for level in percent.levels] == [5.0, 2.0]
        assert [level["level"] for level in ppm.levels] == [50000.0, 20000.0]
        assert percent.levels[1]["farthestDownwindExtent"] == ppm.levels[1]["farthestDownwindExtent"]
        assert percent.units["level"] == "%" and ppm.units["level"] == "ppm"
        assert percent.units["centrelineDownwindDistance"] == "m"
        # The jet never touches down (absent answers are None, not 0); the far field past it reaches the
        # ground, the same maximum in either unit. (The C API's test checks each figure against the run's
        # series.)
        assert percent.centrelineReachesGroundDownwind is None
        assert percent.groundMaximumInFarField == 1.0
        assert abs(percent.groundMaximum * 1e4 / ppm.groundMaximum - 1.0) < 1e-9
        assert percent.greatestCentrelineHeight > 20.0
        assert percent.messages[-1][0] == "information"
        assert "LFL (5 % by volume)" in str(percent)
        row = percent.row()
        assert row["status"] == "ok" and row["centrelineDownwindDistance 2%"] == percent.levels[1]["centrelineDownwindDistance"]
        # Defaults: LFL and LFL/2 of a flammable gas.
        assert [level["text"] for level in m.summary().levels] == ["LFL", "LFL/2"]
        with pytest.raises(ValueError, match="IDLH"):
            m.summary(levels="IDLH")
        with pytest.raises(ValueError, match="unit must be one of"):
            m.summary(unit="furlongs")


def test_refused_run_is_not_a_success():
    with _refused_vent() as m:
        assert m.run() is False
        assert (m.status, m.ending) == ("refused", "refused by the source checks")
        assert m.end_message.startswith(
            "The calculated exit velocity is less than three times the wind velocity, model not valid. (exit speed 0.2171 "
            "m/s, wind speed at the stack 5.753 m/s: "
        )
        assert m.step_count == 0 and m.message_severities[0] == "error"
        summary = m.summary(levels="1%")
        assert not summary.succeeded and summary.status == "refused"
        assert summary.greatestCentrelineHeight is None
        assert summary.levels[0]["farthestDownwindExtent"] is None
        # Printed, what a refused run did not compute says so; it never reads as "none" (does not exist).
        text = str(summary)
        assert "greatestCentrelineHeight: not computed" in text and "none" not in text
        m.orificeDiameter = 0.0
        assert m.run() is False and m.status == "invalid"
    with Model() as m:
        assert m.status == "not run"
    # A summary asked before any run: nothing searched, the ground maximum included.
    with Model.from_scenario(VENT) as m:
        text = str(m.summary())
        assert "groundMaximum: not computed" in text and "groundMaximumComputed: 0 -" in text
        assert "none" not in text
        m.run()
        # After a run, "none" is an answer: the vent's centreline never reaches the ground.
        assert "centrelineReachesGroundDownwind: none" in str(m.summary())


def test_point_and_grid_concentrations_in_a_unit():
    # At the orifice the field is the pure source gas, 100 % by volume; ppm is the volume fraction x 1e6.
    # (The conversions themselves are worked by hand in the library's tests.)
    with Model.from_scenario(VENT) as m:
        m.run()
        assert m.concentration(0, 0, 20, unit="%") == pytest.approx(100.0, abs=1e-9)
        vol = m.grid(0, -2, 20, 12, 2, 26, 3, 2, 2)
        ppm = m.grid(0, -2, 20, 12, 2, 26, 3, 2, 2, unit="ppm")
        flat = lambda g: [v for plane in g for row in plane for v in row]  # noqa: E731
        assert [v * 1e6 for v in flat(vol)] == flat(ppm)
        with pytest.raises(ValueError, match="unit must be one of"):
            m.concentration(0, 0, 20, unit="ppb")


def _dense_release():
    return Model(
        gas="carbon dioxide", stackHeight=2.0, orificeDiameter=0.1, stackBearing=90.0, dischargeCoefficient=0.85,
        massFlowrate=1.5, sourceTemperature=250.0, atmosphereSpecificHeat=1005.0, atmosphereSurfaceRoughness=0.03,
        referenceWindSpeed=3.0, pasquillStability="E", stoppingConcentration=0.005,
    )


def test_data_frame_columns_and_units():
    pandas = pytest.importorskip("pandas")
    with Model.from_scenario(VENT) as m:
        m.run()
        frame = m.results.to_dataframe()
        assert isinstance(frame, pandas.DataFrame)
        assert list(frame.columns) == list(ostreljet.SERIES)
        assert len(frame) == m.step_count and frame.index.name == "step"
        assert frame.attrs["units"]["centrelineConcentration"] == "volume fraction"
        assert frame.attrs["units"]["x"] == "m" and frame.attrs["units"]["centrelineVelocity"] == "m/s"
        assert frame["z"].iloc[0] == 20.0 and frame["z"].tolist() == list(m.results.z)


def test_plot_draws_without_a_display(tmp_path):
    matplotlib = pytest.importorskip("matplotlib")
    matplotlib.use("Agg")
    with _dense_release() as m:
        m.run()
        figure = m.plot(levels="1%,5000ppm", unit="%")
        titles = [axes.get_title() for axes in figure.axes]
        assert "side view along the wind" in titles and "plan view at ground level" in titles
        assert any(title.startswith("plan view at 2 m") for title in titles)
        assert "along the centreline" in titles
        figure.savefig(tmp_path / "run.png")
        assert (tmp_path / "run.png").stat().st_size > 10000
    with _refused_vent() as m:
        m.run()
        m.plot()  # no results: says so, does not fail
