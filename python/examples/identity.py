"""Prints who the headset is: model, serial number, firmware, battery,
sampling rate and montage."""
import qvt

with qvt.Headset() as h:  # the port in QVTSerialPort
    print(f"model          {h.model}")
    print(f"serial number  {h.serial_number}")
    print(f"firmware       {h.firmware}")
    print(f"battery        {h.battery[0]:.0f}% / {h.battery[1]:.0f}%")
    print(f"sampling rate  {h.sampling_rate:g} Hz")
    print(f"reference      {h.reference or '(none)'}")
    print(f"channels       {' '.join(h.channel_names)}")
