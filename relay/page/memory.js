// What the phone remembers between two visits. A browser may refuse to remember (a private window):
// then every visit starts afresh and nothing else changes.

const codeEntry = 'wingbell.code';
const roleEntry = 'wingbell.role';
const settingEntry = 'wingbell.microphone';
const levelsEntry = 'wingbell.levels';
const mostLevels = 200; // of all shows this phone has been to; the oldest are forgotten

function read(entry) {
    try {
        return localStorage.getItem(entry);
    } catch {
        return null;
    }
}

function write(entry, text) {
    try {
        if (text === null) localStorage.removeItem(entry);
        else localStorage.setItem(entry, text);
    } catch {
        // not remembered
    }
}

export const memory = {
    get code() {
        return read(codeEntry);
    },
    set code(code) {
        write(codeEntry, code);
    },
    get role() {
        return read(roleEntry);
    },
    set role(key) {
        write(roleEntry, key);
    },
    get setting() {
        return read(settingEntry);
    },
    set setting(name) {
        write(settingEntry, name);
    },

    /** From 0 to 100; all there is unless this phone has set it for that role and channel. */
    level(role, channel) {
        const level = readLevels().find(([name]) => name === nameOf(role, channel))?.[1];
        return Number.isFinite(level) ? Math.min(100, Math.max(0, level)) : 100;
    },
    setLevel(role, channel, level) {
        const name = nameOf(role, channel);
        const others = readLevels().filter(([other]) => other !== name);
        write(levelsEntry, JSON.stringify([...others, [name, level]].slice(-mostLevels)));
    },
};

const nameOf = (role, channel) => JSON.stringify([role, channel]);

function readLevels() {
    try {
        const levels = JSON.parse(read(levelsEntry) ?? '[]');
        return Array.isArray(levels) ? levels.filter(Array.isArray) : [];
    } catch {
        return [];
    }
}
