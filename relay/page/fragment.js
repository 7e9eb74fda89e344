/**
 * The code and the role of an address such as https://desk/#code=482913&role=k7d2m9qa, each null if
 * it is missing or cannot be one.
 */
export function readFragment(hash) {
    const fields = new URLSearchParams(hash.replace(/^#/, ''));
    const field = (name, form) => {
        const text = fields.get(name);
        return text !== null && form.test(text) ? text : null;
    };
    return { code: field('code', /^[0-9]{6}$/), role: field('role', /^[A-Za-z0-9_-]{1,64}$/) };
}

/** Reads the page's own fragment and takes it out of the address bar, where others could read the code. */
export function takeFragment() {
    const found = readFragment(location.hash);
    if (location.hash) history.replaceState(null, '', location.pathname);
    return found;
}
