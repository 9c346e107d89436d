// The controls of a property page, each a thin view of one control of the dialog model: it shows what the model has and
// sends what the user does. Nothing here knows what a control means.

import { element, setAttribute, setText } from './dom.js';

const kDebounceMs = 400;

/**
 * A text field whose text goes to the model while the user types: a moment after the last key, on Enter and on leaving.
 * What the model says meanwhile waits until the typed text has been sent.
 */
class TypedText {
    #input;
    #send;
    #timer = 0;
    #edits = 0;      // changes made by the user,
    #handedOut = 0;  // of these in a request,
    #sent = 0;       // and of these known to the model
    #request = Promise.resolve();

    /**
     * `send(text, whenSent)` gives a promise that fails when the model did not get the text; it calls `whenSent`
     * before it shows what the model answers.
     */
    constructor(input, send) {
        this.#input = input;
        this.#send = send;
        input.addEventListener('input', () => {
            ++this.#edits;
            clearTimeout(this.#timer);
            this.#timer = setTimeout(() => this.flush().catch(() => {}), kDebounceMs);
        });
        input.addEventListener('blur', () => this.flush().catch(() => {}));
        input.addEventListener('keydown', (event) => {
            if (event.key === 'Enter') this.flush().catch(() => {});
        });
    }

    /** Sends what isn't sent yet. The promise fails if something isn't; the next flush then tries it again. */
    flush() {
        clearTimeout(this.#timer);
        if (this.#handedOut === this.#edits) return this.#request;
        const edits = this.#edits;
        this.#handedOut = edits;
        this.#request = this.#send(this.#input.value, () => { this.#sent = Math.max(this.#sent, edits); });
        this.#request.catch(() => { this.#handedOut = this.#sent; });
        return this.#request;
    }

    /** Gives up what was typed: the user chose something else. */
    discard() {
        clearTimeout(this.#timer);
        this.#handedOut = this.#sent = this.#edits;
    }

    show(text) {
        if (this.#sent === this.#edits && this.#input.value !== text) this.#input.value = text;
    }
}

class EditControl {
    constructor(control, id, page) {
        this.input = element('input', { id, type: 'text', autocomplete: 'off', spellcheck: false });
        this.typed = new TypedText(this.input, (text, whenSent) => page.change(control.id, { text }, whenSent));
        const label = element('label', { htmlFor: id }, control.label);
        this.node = element('div', { className: 'field' }, label, this.input);
    }

    update(control) {
        this.typed.show(control.text);
    }

    flush() {
        return this.typed.flush();
    }
}

/**
 * An editable drop-down: a text field of role combobox with a list beside it. Down and Up (with Alt, too) open the list
 * and move in it, Enter takes the marked item, Escape closes.
 */
class ComboControl {
    #items = [];
    #selection = -1;
    #active = -1;

    constructor(control, id, page) {
        this.page = page;
        this.control = control.id;
        this.list = element('ul', { id: `${id}-list`, role: 'listbox', hidden: true, 'aria-label': control.label });
        this.input = element('input', {
            id, type: 'text', autocomplete: 'off', spellcheck: false, role: 'combobox', 'aria-autocomplete': 'none',
            'aria-expanded': 'false', 'aria-controls': this.list.id, 'aria-haspopup': 'listbox',
        });
        this.button = element('button', {
            type: 'button', className: 'drop', tabIndex: -1, 'aria-label': `Choices of ${control.label}`,
            'aria-controls': this.list.id, 'aria-expanded': 'false',
        });
        this.typed = new TypedText(this.input, (text, whenSent) => page.change(control.id, { text }, whenSent));
        this.node = element('div', { className: 'field' }, element('label', { htmlFor: id }, control.label),
            element('div', { className: 'combo' }, this.input, this.button, this.list));
        this.#listen();
    }

    #listen() {
        this.input.addEventListener('keydown', (event) => this.#onKey(event));
        this.input.addEventListener('input', () => this.#close());
        this.input.addEventListener('blur', () => this.#close());
        // The field keeps the focus, so that leaving it is what closes the list.
        for (const node of [this.button, this.list]) {
            node.addEventListener('mousedown', (event) => event.preventDefault());
        }
        this.button.addEventListener('click', () => {
            this.input.focus();
            if (this.list.hidden) this.#open();
            else this.#close();
        });
        this.list.addEventListener('click', (event) => {
            const option = event.target.closest('[role="option"]');
            if (option) this.#choose([...this.list.children].indexOf(option));
        });
    }

    #onKey(event) {
        const step = { ArrowDown: 1, ArrowUp: -1 }[event.key];
        if (step !== undefined) {
            event.preventDefault();
            if (this.list.hidden) this.#open();
            else this.#mark(Math.min(Math.max(this.#active + step, 0), this.#items.length - 1));
        } else if (!this.list.hidden && event.key === 'Enter') {
            event.preventDefault();
            if (this.#active >= 0) this.#choose(this.#active);
            else this.#close();
        } else if (!this.list.hidden && event.key === 'Escape') {
            event.preventDefault();
            this.#close();
        }
    }

    #open() {
        if (this.#items.length === 0) return;
        this.#setOpen(true);
        this.#mark(Math.max(this.#selection, 0));
    }

    #close() {
        this.#setOpen(false);
        this.#mark(-1);
    }

    #setOpen(open) {
        this.list.hidden = !open;
        for (const node of [this.input, this.button]) setAttribute(node, 'aria-expanded', open);
    }

    #mark(index) {
        this.#active = index;
        [...this.list.children].forEach((option, at) => option.classList.toggle('active', at === index));
        const option = this.list.children[index];
        if (option === undefined) return this.input.removeAttribute('aria-activedescendant');
        setAttribute(this.input, 'aria-activedescendant', option.id);
        option.scrollIntoView({ block: 'nearest' });
    }

    #choose(index) {
        this.typed.discard();
        this.input.value = this.#items[index];
        this.#close();
        this.page.change(this.control, { selection: index }).catch(() => {});
    }

    update(control) {
        if (control.items.join('\n') !== this.#items.join('\n')) {
            this.#items = control.items;
            this.list.replaceChildren(...control.items.map((text, index) =>
                element('li', { id: `${this.list.id}-${index}`, role: 'option' }, text)));
        }
        this.#selection = control.selection;
        [...this.list.children].forEach((option, index) =>
            setAttribute(option, 'aria-selected', index === control.selection));
        this.typed.show(control.selection >= 0 ? control.items[control.selection] : control.text);
    }

    flush() {
        return this.typed.flush();
    }
}

class ButtonControl {
    constructor(control, id, page) {
        this.button = element('button', { id, type: 'button', className: 'primary' });
        this.button.addEventListener('click', () => page.command(control.id));
        this.node = element('div', { className: 'field button-field' }, this.button);
    }

    update(control) {
        setText(this.button, control.text || control.label);
    }

    flush() {
        return Promise.resolve();
    }
}

/** A text that the filter changes, with its label, or one that stands alone. */
class TextControl {
    constructor(control, id) {
        this.value = element('span', { id, className: 'value' });
        this.node = element('div', { className: control.kind === 'label' ? 'hint' : 'field' }, this.value);
        if (control.kind === 'label') return;
        const label = element('span', { id: `${id}-label`, className: 'caption' }, control.label);
        this.node.prepend(label);
        this.node.setAttribute('role', 'group');
        this.node.setAttribute('aria-labelledby', label.id);
    }

    update(control) {
        setText(this.value, control.text || '–');
        this.value.classList.toggle('lamp-on', control.text === 'Data present');
        this.value.classList.toggle('lamp-off', control.text === 'No data');
    }

    flush() {
        return Promise.resolve();
    }
}

const kinds = { edit: EditControl, combo: ComboControl, button: ButtonControl, text: TextControl, label: TextControl };

/** `page` has change(control, body) and command(control); `id` is that of the input in the document. */
export function makeControl(control, id, page) {
    return new (kinds[control.kind] ?? TextControl)(control, id, page);
}
