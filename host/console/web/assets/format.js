// Numbers, times and states as an operator reads them. `null` and `undefined` are shown as a dash.

const kNone = '–';

export const levelNames = ['Fault', 'Warning', 'Info'];
export const stateNames = { running: 'Running', paused: 'Paused', stopped: 'Stopped' };
export const kindNames = { send: 'Send', receive: 'Receive', relay: 'Relay' };

export function formatNumber(value, digits = 0) {
    if (value === null || value === undefined) return kNone;
    return value.toLocaleString('en', { minimumFractionDigits: digits, maximumFractionDigits: digits });
}

/** `bitsPerSecond` in the largest unit that leaves a digit before the point. */
export function formatBitRate(bitsPerSecond) {
    if (bitsPerSecond === null || bitsPerSecond === undefined) return kNone;
    if (bitsPerSecond >= 1e6) return `${formatNumber(bitsPerSecond / 1e6, 2)} Mbit/s`;
    if (bitsPerSecond >= 1e3) return `${formatNumber(bitsPerSecond / 1e3, 1)} kbit/s`;
    return `${formatNumber(bitsPerSecond)} bit/s`;
}

export function formatDuration(seconds) {
    if (seconds === null || seconds === undefined) return kNone;
    const whole = Math.floor(seconds);
    const two = (value) => String(value).padStart(2, '0');
    const clock = `${two(Math.floor(whole / 3600) % 24)}:${two(Math.floor(whole / 60) % 60)}:${two(whole % 60)}`;
    return whole >= 86400 ? `${Math.floor(whole / 86400)} d ${clock}` : clock;
}

/** Local time of day with the parts down to `unit`: 'minute', 'second' or 'millisecond'. */
export function formatTime(date, unit) {
    const options = { hour: '2-digit', minute: '2-digit', hourCycle: 'h23' };
    if (unit !== 'minute') options.second = '2-digit';
    if (unit === 'millisecond') options.fractionalSecondDigits = 3;
    return date.toLocaleTimeString('en', options);
}

/** The local day. */
export function formatDate(date) {
    return date.toLocaleDateString('en-GB', { weekday: 'short', day: 'numeric', month: 'long', year: 'numeric' });
}

/** The words of a data lamp; `data` is true, false, or null where it isn't known. */
export function dataWords(data) {
    if (data === null || data === undefined) return kNone;
    return data ? 'Data present' : 'No data';
}
