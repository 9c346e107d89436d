// Small helpers to build and to change the document without a change where nothing changed: a node that is left alone
// keeps its focus and selection, and a screen reader has nothing to say about it.

/**
 * Makes an element. Keys of `properties` with a dash, and `role`, become attributes; the rest are properties of the
 * node.
 */
export function element(tag, properties = {}, ...children) {
    const node = document.createElement(tag);
    for (const [key, value] of Object.entries(properties)) {
        if (key.includes('-') || key === 'role') node.setAttribute(key, value);
        else node[key] = value;
    }
    node.append(...children);
    return node;
}

export function byId(id) {
    return document.getElementById(id);
}

export function setText(node, text) {
    if (node.textContent !== text) node.textContent = text;
}

export function setAttribute(node, name, value) {
    if (node.getAttribute(name) !== String(value)) node.setAttribute(name, value);
}
